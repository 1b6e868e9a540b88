// How senders are called in records.
#pragma once

#include <sys/socket.h>

#include <string>

namespace host {

/// The address of `peer`, IPv4 or IPv6, without its port; "?" for what is neither.
std::string PeerText(const sockaddr_storage& peer);

}  // namespace host
