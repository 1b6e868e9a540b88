// What the configuration tells of a listening interface.
#pragma once

#include <cstdint>
#include <string>

namespace host {

/// Texts are empty where there is nothing; a VRF index of 0 is none.
struct InterfaceFacts {
  std::string ipv4;
  std::string ipv6;
  uint32_t vrf = 0;
};

/// Both read the session behind `cdb_socket`; `name` is "l3-" and the name of an L3 interface.
InterfaceFacts ReadInterfaceFacts(int cdb_socket, const std::string& name);

/// The interface's name without "l3-" where the configuration gives none.
std::string ReadKernelName(int cdb_socket, const std::string& name);

}  // namespace host
