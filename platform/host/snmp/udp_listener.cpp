#include "snmp/udp_listener.h"

#include <netinet/in.h>
#include <unistd.h>

#include <boost/asio/ip/udp.hpp>
#include <cassert>
#include <cerrno>
#include <cstring>

#include "snmp/descriptors.h"

namespace host {

namespace {

using boost::asio::ip::udp;

// The kernel charges no datagram less than this against the receive buffer.
constexpr size_t kSmallestCharge = 256;

std::error_code LastError() { return {errno, std::system_category()}; }

bool Enable(int socket, int level, int option) {
  const int on = 1;
  return ::setsockopt(socket, level, option, &on, sizeof(on)) == 0;
}

bool SetOptions(int socket, const boost::asio::ip::address& local) {
  const int level = local.is_v6() ? IPPROTO_IPV6 : IPPROTO_IP;
  const int tell_destination = local.is_v6() ? IPV6_RECVPKTINFO : IP_PKTINFO;
  return Enable(socket, SOL_SOCKET, SO_REUSEADDR) &&
         (!local.is_v6() || Enable(socket, level, IPV6_V6ONLY)) &&
         (!local.is_unspecified() || Enable(socket, level, tell_destination));
}

bool Bind(int socket, const udp::endpoint& local) {
  return SetOptions(socket, local.address()) &&
         ::bind(socket, local.data(), static_cast<socklen_t>(local.size())) == 0;
}

msghdr MessageOf(iovec& bytes, sockaddr_storage& peer, socklen_t peer_size, void* control,
                 size_t control_size) {
  msghdr message = {};
  message.msg_name = &peer;
  message.msg_namelen = peer_size;
  message.msg_iov = &bytes;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = control_size;
  return message;
}

// An answer goes where the routes say, so the interface is left out. False when the request went
// to a group, which nothing can be sent from.
bool TurnToAnswer(cmsghdr& header) {
  if (header.cmsg_level == IPPROTO_IP) {
    in_pktinfo info;
    std::memcpy(&info, CMSG_DATA(&header), sizeof(info));
    info.ipi_ifindex = 0;
    std::memcpy(CMSG_DATA(&header), &info, sizeof(info));
    return true;
  }
  in6_pktinfo info;
  std::memcpy(&info, CMSG_DATA(&header), sizeof(info));
  info.ipi6_ifindex = 0;
  std::memcpy(CMSG_DATA(&header), &info, sizeof(info));
  return !IN6_IS_ADDR_MULTICAST(&info.ipi6_addr);
}

// Size of the control message for the answer, made in place of the received one.
size_t AnswerControlSize(msghdr& message) {
  cmsghdr* header = CMSG_FIRSTHDR(&message);
  return header != nullptr && TurnToAnswer(*header) ? message.msg_controllen : 0;
}

int OpenSocket(int family) {
  const int socket = ::socket(family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_UDP);
  return socket < 0 ? socket : MoveUp(socket);
}

}  // namespace

std::error_code UdpListener::Open(const Endpoint& endpoint) {
  boost::system::error_code error;
  const auto address = boost::asio::ip::make_address(endpoint.address, error);
  if (error) {
    return std::make_error_code(std::errc::invalid_argument);
  }
  const udp::endpoint local(address, endpoint.port);
  const int socket = OpenSocket(local.data()->sa_family);
  if (socket < 0) {
    return LastError();
  }
  socket_.assign(socket, error);
  if (error) {
    ::close(socket);
    return {error.value(), std::system_category()};
  }
  return Bind(socket, local) ? std::error_code() : LastError();
}

std::error_code UdpListener::SetMark(uint32_t mark) {
  const int result =
      ::setsockopt(socket_.native_handle(), SOL_SOCKET, SO_MARK, &mark, sizeof(mark));
  return result == 0 ? std::error_code() : LastError();
}

bool UdpListener::Receive(Datagram& datagram) {
  iovec bytes = {datagram.buffer.data(), datagram.buffer.size()};
  msghdr message = MessageOf(bytes, datagram.peer, sizeof(datagram.peer), datagram.control.data(),
                             datagram.control.size());
  const ssize_t size = ::recvmsg(socket_.native_handle(), &message, 0);
  if (size < 0) {
    return false;
  }
  datagram.size = static_cast<size_t>(size);
  datagram.peer_size = message.msg_namelen;
  datagram.control_size = AnswerControlSize(message);
  return true;
}

void UdpListener::Answer(Datagram& request, std::string_view answer) {
  iovec bytes = {const_cast<char*>(answer.data()), answer.size()};
  const msghdr message = MessageOf(bytes, request.peer, request.peer_size, request.control.data(),
                                   request.control_size);
  static_cast<void>(::sendmsg(socket_.native_handle(), &message, MSG_NOSIGNAL));
}

size_t UdpListener::QueueLimit() {
  int bytes = 0;
  socklen_t size = sizeof(bytes);
  const int result = ::getsockopt(socket_.native_handle(), SOL_SOCKET, SO_RCVBUF, &bytes, &size);
  assert(result == 0);
  return static_cast<size_t>(bytes) / kSmallestCharge + 1;
}

}  // namespace host
