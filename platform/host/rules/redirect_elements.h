// Which redirects there are, and what that means for the packet filter's sets.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace host {

/// The sets of the table "inet snmp-app".
enum class RedirectSet {
  kTo,    ///< Interface and port: redirect port.
  kBack,  ///< Redirect port: port that answers come from.
  kPorts  ///< Redirect port: drop.
};

/// One element that comes or goes. Each set takes of it what it needs. Ports are in host order.
struct ElementChange {
  bool adds;
  RedirectSet set;
  std::string interface;   ///< Its name in the kernel.
  uint16_t port;           ///< Where requests are sent to.
  uint16_t redirect_port;  ///< Where the agent hears them.
};

/// Several keys may lead to one redirect port, as long as an old redirect is still there: its
/// answers come from the port of the newest one. Calls no kernel.
class RedirectElements {
 public:
  /// A kernel name and a port on it.
  using Key = std::pair<std::string, uint16_t>;

  struct Entry {
    uint16_t redirect_port;
    uint64_t age;  ///< The newest is the highest.
  };

  /// None when there is no redirect of that key.
  std::optional<Entry> Find(const Key& key) const;

  /// A new entry, newer than all others.
  Entry Newest(uint16_t redirect_port) { return {redirect_port, ++newest_}; }

  /// `key` has this entry from now on, or none. Returns what changes in the kernel by that, in an
  /// order in which it can be done. The former entry takes it back again.
  std::vector<ElementChange> Replace(const Key& key, const std::optional<Entry>& entry);

  /// All elements, as additions, for a table that has none.
  std::vector<ElementChange> All() const;

  size_t size() const { return entries_.size(); }

 private:
  std::optional<uint16_t> PortBehind(uint16_t redirect_port) const;
  void Set(const Key& key, const std::optional<Entry>& entry);

  std::map<Key, Entry> entries_;
  /// The port of each entry, by redirect port and age.
  std::map<uint16_t, std::map<uint64_t, uint16_t>> users_;
  uint64_t newest_ = 0;
};

}  // namespace host
