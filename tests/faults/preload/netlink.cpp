// Spoilt answers of the kernel's network configuration (netlink(7)).

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "control.h"

namespace faults {

namespace {

/// What is known of a socket, by its descriptor. All of them are the event loop's.
struct Known {
  nlmsghdr request;  ///< The last one that asked for an answer.
  bool is_refused;   ///< It was not passed on.
  bool is_endless;
};

std::array<Known, 4096> known;

Known& Of(int descriptor) { return known[static_cast<size_t>(descriptor) % known.size()]; }

int Option(int descriptor, int name) {
  int value = -1;
  socklen_t size = sizeof value;
  getsockopt(descriptor, SOL_SOCKET, name, &value, &size);
  return value;
}

bool HasGroups(int descriptor) {
  sockaddr_nl address = {};
  socklen_t size = sizeof address;
  getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size);
  return address.nl_groups != 0;
}

int64_t KindOf(int descriptor) {
  if (Option(descriptor, SO_PROTOCOL) == NETLINK_NETFILTER) return kPacketFilter;
  return HasGroups(descriptor) ? kWatch : kRouting;
}

/// Whether a call on this socket is one that a test wants spoilt so.
bool IsMeant(int descriptor) {
  if (Get(kNetlinkKind) == kWhole || Option(descriptor, SO_DOMAIN) != AF_NETLINK) return false;
  const int64_t wanted = Get(kNetlinkSockets);
  return wanted == kAnySocket || wanted == KindOf(descriptor);
}

/// Counts an answer; true when it is to be spoilt.
bool TakeTurn() {
  if (Get(kNetlinkSkip) > 0) {
    --*Find(kNetlinkSkip);
    return false;
  }
  if (Get(kNetlinkCount) <= 0) return false;
  --*Find(kNetlinkCount);
  ++*Find(kNetlinkSpoilt);
  return true;
}

bool IsOfSending(int64_t kind) { return kind == kRefused || kind == kSilence; }

/// The request among these that the kernel answers to: one that asks for it, else the last.
nlmsghdr AnsweredRequest(const char* data, size_t size) {
  nlmsghdr found = {};
  while (size >= sizeof found) {
    nlmsghdr header = {};
    memcpy(&header, data, sizeof header);
    const size_t length = std::min<size_t>(NLMSG_ALIGN(header.nlmsg_len), size);
    if (length < sizeof header) break;
    if ((found.nlmsg_flags & NLM_F_ACK) == 0) found = header;
    data += length;
    size -= length;
  }
  return found;
}

/// True when the request is kept from the kernel.
bool Keep(int descriptor, const char* data, size_t size) {
  if (!IsMeant(descriptor)) return false;
  Known& socket = Of(descriptor);
  socket = {AnsweredRequest(data, size), false, false};
  if (!IsOfSending(Get(kNetlinkKind)) || !TakeTurn()) return false;
  socket.is_refused = Get(kNetlinkKind) == kRefused;
  return true;
}

/// Puts one message in the place of what comes; how long it is.
template <typename Content>
ssize_t Put(char* data, size_t room, nlmsghdr header, const Content& content) {
  std::array<char, NLMSG_HDRLEN + NLMSG_ALIGN(sizeof content)> bytes = {};
  header.nlmsg_len = static_cast<uint32_t>(bytes.size());
  memcpy(bytes.data(), &header, sizeof header);
  memcpy(bytes.data() + NLMSG_HDRLEN, &content, sizeof content);
  memcpy(data, bytes.data(), std::min(room, bytes.size()));
  return static_cast<ssize_t>(std::min(room, bytes.size()));
}

ssize_t PutRefusal(char* data, size_t room, const nlmsghdr& request) {
  const nlmsgerr refusal = {-static_cast<int>(Get(kNetlinkCode)), request};
  return Put(data, room, {0, NLMSG_ERROR, 0, request.nlmsg_seq, request.nlmsg_pid}, refusal);
}

ssize_t PutPart(char* data, size_t room, const nlmsghdr& request) {
  const auto part = static_cast<uint16_t>(NLM_F_MULTI);
  return Put(data, room, {0, RTM_NEWRULE, part, request.nlmsg_seq, request.nlmsg_pid}, rtmsg{});
}

/// What comes in the place of an answer that did come.
ssize_t Spoil(int descriptor, char* data, size_t room, ssize_t size) {
  nlmsghdr header = {};
  memcpy(&header, data, std::min(sizeof header, static_cast<size_t>(size)));
  Known& socket = Of(descriptor);
  switch (Get(kNetlinkKind)) {
    case kTruncated:
      return size / 2;
    case kWrongSequence:
      header.nlmsg_seq += 77;
      break;
    case kEndless:
      socket.is_endless = true;
      return PutPart(data, room, socket.request);
    case kHugeLength:
      header.nlmsg_len = 0xffffffff;
      break;
    case kNoLength:
      header.nlmsg_len = 0;
      break;
    default:
      errno = ENOBUFS;
      return -1;
  }
  memcpy(data, &header, std::min(sizeof header, static_cast<size_t>(size)));
  return size;
}

/// Receives by `call` into `data`, as the test has it.
template <typename Call>
ssize_t Receive(int descriptor, char* data, size_t room, int flags, Call call) {
  if (Get(kNetlinkKind) == kWhole) return call();
  Known& socket = Of(descriptor);
  const bool looks = (flags & MSG_PEEK) != 0;
  if (socket.is_refused && IsMeant(descriptor)) {
    socket.is_refused = looks;
    return PutRefusal(data, room, socket.request);
  }
  if (socket.is_endless && IsMeant(descriptor)) return PutPart(data, room, socket.request);
  const ssize_t size = call();
  if (size <= 0 || looks || IsOfSending(Get(kNetlinkKind))) return size;
  return IsMeant(descriptor) && TakeTurn() ? Spoil(descriptor, data, room, size) : size;
}

}  // namespace

}  // namespace faults

extern "C" {

ssize_t sendmsg(int descriptor, const msghdr* message, int flags) {
  const iovec& part = message->msg_iov[0];
  if (message->msg_iovlen > 0 &&
      faults::Keep(descriptor, static_cast<const char*>(part.iov_base), part.iov_len)) {
    return static_cast<ssize_t>(part.iov_len);
  }
  return syscall(SYS_sendmsg, descriptor, message, flags);
}

ssize_t sendto(int descriptor, const void* data, size_t size, int flags, const sockaddr* peer,
               socklen_t peer_size) {
  if (faults::Keep(descriptor, static_cast<const char*>(data), size)) {
    return static_cast<ssize_t>(size);
  }
  return syscall(SYS_sendto, descriptor, data, size, flags, peer, peer_size);
}

ssize_t recvmsg(int descriptor, msghdr* message, int flags) {
  const iovec none = {nullptr, 0};
  const iovec& part = message->msg_iovlen > 0 ? message->msg_iov[0] : none;
  return faults::Receive(descriptor, static_cast<char*>(part.iov_base), part.iov_len, flags, [=] {
    return static_cast<ssize_t>(syscall(SYS_recvmsg, descriptor, message, flags));
  });
}

ssize_t recvfrom(int descriptor, void* data, size_t size, int flags, sockaddr* peer,
                 socklen_t* peer_size) {
  return faults::Receive(descriptor, static_cast<char*>(data), size, flags, [=] {
    return static_cast<ssize_t>(
        syscall(SYS_recvfrom, descriptor, data, size, flags, peer, peer_size));
  });
}

}  // extern "C"
