// Texts of addresses.

#include "nettypes/nettypes.h"

#include <arpa/inet.h>

namespace nettypes {

namespace {

std::string Text(int family, const void* address) {
  char text[INET6_ADDRSTRLEN] = {};
  inet_ntop(family, address, text, sizeof text);
  return text;
}

}  // namespace

std::string IPv4Addr::to_string() const { return Text(AF_INET, &address_); }

std::string IPv6Addr::to_string() const { return Text(AF_INET6, &address_); }

}  // namespace nettypes
