// The messages of one datagram of the kernel's (netlink(7)).
#pragma once

#include <linux/netlink.h>

#include <algorithm>
#include <cstddef>

namespace host {

/// Calls `take` with each message, as long as it returns true. `data` is aligned as nlmsghdr is.
/// False when a message is cut or has no length of its own; those before it were taken.
template <typename Take>
bool ForEachMessage(char* data, size_t size, Take take) {
  while (size > 0) {
    auto* message = reinterpret_cast<nlmsghdr*>(data);
    if (size < sizeof(nlmsghdr) || message->nlmsg_len < sizeof(nlmsghdr) ||
        message->nlmsg_len > size) {
      return false;
    }
    if (!take(message)) return true;
    const size_t length = std::min<size_t>(NLMSG_ALIGN(message->nlmsg_len), size);
    data += length;
    size -= length;
  }
  return true;
}

}  // namespace host
