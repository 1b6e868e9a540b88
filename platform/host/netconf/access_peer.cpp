#include "netconf/access_peer.h"

#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace host {

namespace {

[[noreturn]] void Fail(int error, const char* what) {
  throw std::system_error(error, std::generic_category(), what);
}

/// Groups of thousands of members have long entries; the system says when there is too little room.
constexpr size_t kFirstRoom = 4096;

/// What `find`, getpwuid_r(3) or the like, has of a number; empty when there is none.
template <typename Entry, typename Find, typename Id>
std::string NameOf(Find find, Id id, char* Entry::*name) {
  std::vector<char> room(kFirstRoom);
  Entry entry = {};
  Entry* found = nullptr;
  int error = 0;
  while ((error = find(id, &entry, room.data(), room.size(), &found)) == ERANGE) {
    room.resize(room.size() * 2);
  }
  if (found != nullptr) return found->*name;
  // What else the calls return for a number that nobody has.
  constexpr int kNobodys[] = {0, ENOENT, ESRCH, EBADF, EPERM};
  if (std::find(std::begin(kNobodys), std::end(kNobodys), error) == std::end(kNobodys)) {
    Fail(error, "name of a peer");
  }
  return "";
}

std::string UserName(uid_t user) {
  const std::string name = NameOf(getpwuid_r, user, &passwd::pw_name);
  return name.empty() ? "uid " + std::to_string(user) : name;
}

std::string GroupName(gid_t group) {
  const std::string name = NameOf(getgrgid_r, group, &group::gr_name);
  return name.empty() ? "gid " + std::to_string(group) : name;
}

std::vector<gid_t> FurtherGroups(int descriptor) {
  std::vector<gid_t> groups(64);
  while (true) {
    auto size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    const int result = getsockopt(descriptor, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size);
    const int error = errno;
    groups.resize(size / sizeof(gid_t));
    if (result == 0) return groups;
    if (error != ERANGE) Fail(error, "groups of a peer");
  }
}

}  // namespace

Peer PeerAt(int descriptor) {
  ucred credentials = {};
  socklen_t size = sizeof credentials;
  if (getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
    Fail(errno, "user of a peer");
  }
  Peer peer;
  peer.user = UserName(credentials.uid);
  peer.is_recovery = credentials.uid == 0 || credentials.uid == geteuid();
  peer.groups.push_back(GroupName(credentials.gid));
  for (const gid_t group : FurtherGroups(descriptor)) peer.groups.push_back(GroupName(group));
  return peer;
}

}  // namespace host
