// Who else may open the socket.
#pragma once

#include <sys/types.h>

#include <string>

namespace host {

/// The groups of the built-in policy: those who may do everything, and those who may read.
constexpr char kOperatorsGroup[] = "snmp-app";
constexpr char kReadersGroup[] = "snmp-app-read";

/// Lets one more group open a socket of mode 0660, by an entry of its access control list (acl(5)).
/// Throws std::system_error with the path, where the file system has no such lists for example.
void LetGroupIn(const std::string& path, gid_t group);

/// The same for the group of readers, nothing where the system has none. What is thrown is logged:
/// members of no other group then cannot connect, and others can.
void LetReadersIn(const std::string& path);

}  // namespace host
