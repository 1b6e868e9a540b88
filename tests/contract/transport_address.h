// Addresses as the tables of notification targets have them.
#pragma once

#include <arpa/inet.h>

#include <array>
#include <string>

namespace contract {

/// Address and port in network order: 6 bytes for an IPv4 address, 18 for an IPv6 address.
inline std::string TransportAddress(const std::string& ip, uint16_t port) {
  const int family = ip.find(':') == std::string::npos ? AF_INET : AF_INET6;
  std::array<char, 16> address = {};
  inet_pton(family, ip.c_str(), address.data());
  std::string bytes(address.data(), family == AF_INET ? 4 : 16);
  bytes += static_cast<char>(port >> 8);
  bytes += static_cast<char>(port & 0xff);
  return bytes;
}

}  // namespace contract
