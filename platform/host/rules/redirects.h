// Redirects of UDP ports on single interfaces, as elements of one map of the packet filter.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "rules/nftables.h"

namespace host {

/// A packet costs the same with one redirect or thousands, IPv4 and IPv6 alike. The table, "inet
/// snmp-app", is made at the first redirect and belongs to this object: other programs cannot
/// change it, and the kernel removes it with the object or the process, however that ends.
class Redirects {
 public:
  /// UDP packets to `port` that arrive on `kernel_name` go to the local port `redirect_port`; a
  /// former redirect of that port on that interface is replaced. True when it is so afterwards. No
  /// kernel call when it was so before.
  bool Add(const std::string& kernel_name, uint16_t port, uint16_t redirect_port);

  /// Ends that redirect; true when it is not there afterwards. No kernel call when it was not
  /// there before.
  bool Delete(const std::string& kernel_name, uint16_t port, uint16_t redirect_port);

 private:
  using Key = std::pair<std::string, uint16_t>;

  bool Change(const std::string& commands, const std::string& purpose);
  std::string MakeTable();
  std::string RestoreLostTable();
  std::string Elements() const;

  Nftables nftables_;
  bool table_made_ = false;
  std::map<Key, uint16_t> in_kernel_;
};

/// True for a name that the kernel accepts for an interface and the packet filter takes as one
/// text: no more than 15 visible ASCII characters without / : " * and backslash.
bool IsInterfaceName(const std::string& name);

}  // namespace host
