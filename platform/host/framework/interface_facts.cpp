#include "framework/interface_facts.h"

#include <arpa/inet.h>

#include <array>

#include "confd_cdb.h"
#include "config/device_paths.h"

namespace host {

namespace {

constexpr char kPrefix[] = "l3-";
constexpr size_t kPrefixLength = sizeof(kPrefix) - 1;
constexpr size_t kTextSize = 256;

std::string InterfaceOf(const std::string& name) {
  return name.compare(0, kPrefixLength, kPrefix) == 0 ? name.substr(kPrefixLength) : name;
}

/// Text leaf of an L3 interface; empty where it has none.
std::string ReadText(int cdb_socket, const std::string& interface, const char* leaf) {
  std::array<char, kTextSize> text = {};
  const int code = cdb_get_str(cdb_socket, text.data(), static_cast<int>(text.size()), "%s{%s}/%s",
                               kL3InterfacesPath, interface.c_str(), leaf);
  return code == CONFD_OK ? text.data() : std::string();
}

std::string ToText(int family, const void* address) {
  std::array<char, INET6_ADDRSTRLEN> text = {};
  const char* end = inet_ntop(family, address, text.data(), text.size());
  return end == nullptr ? std::string() : text.data();
}

std::string ReadIpv4(int cdb_socket, const std::string& interface) {
  confd_ipv4_prefix prefix = {};
  const int code = cdb_get_ipv4_and_plen(cdb_socket, &prefix, "%s{%s}/ipv4/address/ip",
                                         kL3InterfacesPath, interface.c_str());
  return code == CONFD_OK ? ToText(AF_INET, &prefix.ip) : std::string();
}

std::string ReadIpv6(int cdb_socket, const std::string& interface) {
  confd_ipv6_prefix prefix = {};
  const int code = cdb_get_ipv6_and_plen(cdb_socket, &prefix, "%s{%s}/ipv6/address[0]/ip",
                                         kL3InterfacesPath, interface.c_str());
  return code == CONFD_OK ? ToText(AF_INET6, &prefix.ip6) : std::string();
}

uint32_t ReadVrf(int cdb_socket, const std::string& interface) {
  const std::string vrf = ReadText(cdb_socket, interface, "vrf");
  if (vrf.empty()) return 0;
  uint32_t index = 0;
  const int code = cdb_get_u_int32(cdb_socket, &index, "%s{%s}/vrf-idx", kVrfsPath, vrf.c_str());
  return code == CONFD_OK ? index : 0;
}

}  // namespace

InterfaceFacts ReadInterfaceFacts(int cdb_socket, const std::string& name) {
  const std::string interface = InterfaceOf(name);
  return {ReadIpv4(cdb_socket, interface), ReadIpv6(cdb_socket, interface),
          ReadVrf(cdb_socket, interface)};
}

std::string ReadKernelName(int cdb_socket, const std::string& name) {
  const std::string interface = InterfaceOf(name);
  const std::string kernel_name = ReadText(cdb_socket, interface, "kernel-name");
  return kernel_name.empty() ? interface : kernel_name;
}

}  // namespace host
