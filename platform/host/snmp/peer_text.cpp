#include "snmp/peer_text.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <array>

namespace host {

std::string PeerText(const sockaddr_storage& peer) {
  const void* address = &reinterpret_cast<const sockaddr_in&>(peer).sin_addr;
  if (peer.ss_family == AF_INET6) address = &reinterpret_cast<const sockaddr_in6&>(peer).sin6_addr;
  std::array<char, INET6_ADDRSTRLEN> text = {};
  const char* end = inet_ntop(peer.ss_family, address, text.data(), text.size());
  return end == nullptr ? std::string("?") : text.data();
}

}  // namespace host
