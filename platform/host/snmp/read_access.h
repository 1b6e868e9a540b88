// Which requests the agent's library may answer.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace host {

/// Lets the communities that it is told of read everything, and nobody write. The library asks it
/// once per request and once per object. Lives between the library's coming up and going down.
class ReadAccess {
 public:
  /// Has the library ask this object; nobody may read at first.
  ReadAccess();
  ~ReadAccess();

  ReadAccess(const ReadAccess&) = delete;
  ReadAccess& operator=(const ReadAccess&) = delete;

  /// These and no others from now on. An empty text is none.
  void SetCommunities(std::set<std::string, std::less<>> communities);

  /// The community of the daemon's own requests, never an empty one: read as well, but only while
  /// it is let in. Otherwise requests with it are passed over without being counted.
  void SetOwn(std::string community) { own_ = std::move(community); }
  void LetOwnIn(bool on) { lets_own_in_ = on; }

  /// How many requests were refused for their community.
  uint64_t Strangers() const { return strangers_; }

 private:
  static int Answer(int major, int question, void* server_argument, void* client_argument);
  bool IsKnown(std::string_view community) const;

  std::set<std::string, std::less<>> communities_;
  std::string own_;
  bool lets_own_in_ = false;
  uint64_t strangers_ = 0;
};

}  // namespace host
