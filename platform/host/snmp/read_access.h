// Which requests the agent's library may answer.
#pragma once

#include <functional>
#include <set>
#include <string>

namespace host {

/// Lets the communities that it is told of read everything, and nobody write. The library asks it
/// once per request and once per object. Lives between the library's coming up and going down.
class ReadAccess {
 public:
  ReadAccess();
  ~ReadAccess();

  ReadAccess(const ReadAccess&) = delete;
  ReadAccess& operator=(const ReadAccess&) = delete;

  /// These and no others from now on. An empty text is none.
  void SetCommunities(std::set<std::string, std::less<>> communities);

 private:
  std::set<std::string, std::less<>> communities_;
};

}  // namespace host
