// Who is at the other end of a connection.
#pragma once

#include <string>
#include <vector>

namespace host {

/// A user as the kernel tells him, and what access control asks of him.
struct Peer {
  std::string user;                 ///< His name, "uid 7" where the system has none.
  std::vector<std::string> groups;  ///< All that he had when he connected; "gid 7" as above.
  bool is_recovery = false;         ///< Access control does not concern him (RFC 8341, 3.4.3).
};

/// Who has connected to a socket (SO_PEERCRED and SO_PEERGROUPS, unix(7) and socket(7)). Root is
/// the recovery session; so is the daemon's own user, who can write its files. Throws
/// std::system_error when something of it cannot be told: who lacks a group might be permitted
/// more.
Peer PeerAt(int descriptor);

}  // namespace host
