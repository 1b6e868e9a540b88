// What the configuration tells of a listening interface.
#pragma once

#include <cstdint>
#include <string>

namespace host {

struct InterfaceFacts {
  std::string ipv4;  ///< Without its prefix length; empty for none.
  std::string ipv6;  ///< The first one, in the order of the configuration; empty for none.
  uint32_t vrf = 0;  ///< The index of the VRF, which is its routing table; 0 for none.
};

// Both read the session behind `cdb_socket`; `name` is that of a listening interface, "l3-" and the
// name of an L3 interface. What is not there, or cannot be read, counts as nothing.

InterfaceFacts ReadInterfaceFacts(int cdb_socket, const std::string& name);

/// What the kernel calls it (ip-link(8)); its name without "l3-" where the configuration gives
/// none.
std::string ReadKernelName(int cdb_socket, const std::string& name);

}  // namespace host
