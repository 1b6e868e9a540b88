#include "snmp/udp_listener.h"

#include <netinet/in.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <boost/asio/ip/udp.hpp>
#include <cerrno>
#include <cstring>

#include "snmp/descriptors.h"

namespace host {

namespace {

using boost::asio::ip::udp;

/// The kernel charges no datagram less than this against the receive buffer.
constexpr size_t kSmallestCharge = 256;

std::error_code LastError() { return {errno, std::system_category()}; }

bool Enable(int socket, int level, int option, int on = 1) {
  return setsockopt(socket, level, option, &on, sizeof(on)) == 0;
}

bool SetOptions(int socket, const boost::asio::ip::address& local) {
  const int level = local.is_v6() ? IPPROTO_IPV6 : IPPROTO_IP;
  const int tell_destination = local.is_v6() ? IPV6_RECVPKTINFO : IP_PKTINFO;
  return (!local.is_v6() || Enable(socket, level, IPV6_V6ONLY)) &&
         (!local.is_unspecified() || Enable(socket, level, tell_destination));
}

bool Bind(int socket, const udp::endpoint& local, UdpListener::Place place) {
  return SetOptions(socket, local.address()) &&
         (place == UdpListener::Place::kAlone || Enable(socket, SOL_SOCKET, SO_REUSEADDR)) &&
         bind(socket, local.data(), static_cast<socklen_t>(local.size())) == 0;
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

/// A link-local address means something on its link only, so such an answer leaves by the interface
/// that the request came in by. Over a VRF device the peer's scope is that device, which is not the
/// interface: the kernel refuses the two together. A listener without mark serves no VRF, so there
/// it may refuse.
void BindToLink(in6_pktinfo& info, sockaddr_in6& peer, bool is_marked) {
  if (!IN6_IS_ADDR_LINKLOCAL(&info.ipi6_addr) && !IN6_IS_ADDR_LINKLOCAL(&peer.sin6_addr)) {
    info.ipi6_ifindex = 0;
  } else if (is_marked) {
    peer.sin6_scope_id = 0;
  }
}

/// Other answers go where the routes say, so the interface is left out. False when the request went
/// to a group, which nothing can be sent from.
bool TurnToAnswer(cmsghdr& header, sockaddr_storage& peer, bool is_marked) {
  if (header.cmsg_level == IPPROTO_IP) {
    in_pktinfo info;
    memcpy(&info, CMSG_DATA(&header), sizeof(info));
    info.ipi_ifindex = 0;
    memcpy(CMSG_DATA(&header), &info, sizeof(info));
    return true;
  }
  in6_pktinfo info;
  memcpy(&info, CMSG_DATA(&header), sizeof(info));
  BindToLink(info, reinterpret_cast<sockaddr_in6&>(peer), is_marked);
  memcpy(CMSG_DATA(&header), &info, sizeof(info));
  return !IN6_IS_ADDR_MULTICAST(&info.ipi6_addr);
}

/// Size of the control message for the answer, made in place of the received one.
size_t AnswerControlSize(msghdr& message, sockaddr_storage& peer, bool is_marked) {
  cmsghdr* header = CMSG_FIRSTHDR(&message);
  const bool is_turned = header != nullptr && TurnToAnswer(*header, peer, is_marked);
  return is_turned ? message.msg_controllen : 0;
}

bool IsEmpty(int error) { return error == EAGAIN || error == EWOULDBLOCK; }

/// An error that waits at a socket, of a network that is down say, is told once in place of a
/// datagram; so what is told again and again is the socket's own.
ssize_t Take(int socket, msghdr& message) {
  constexpr int kTries = 4;
  ssize_t size = -1;
  for (int i = 0; i < kTries && size < 0; ++i) {
    size = recvmsg(socket, &message, 0);
    if (size < 0 && IsEmpty(errno)) break;
  }
  return size;
}

int OpenSocket(int family) {
  const int socket = ::socket(family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_UDP);
  return socket < 0 ? socket : MoveUp(socket);
}

}  // namespace

std::error_code UdpListener::Open(const Endpoint& endpoint, Place place) {
  boost::system::error_code error;
  socket_.close(error);
  const auto address = boost::asio::ip::make_address(endpoint.address, error);
  if (error) return std::make_error_code(std::errc::invalid_argument);
  const udp::endpoint local(address, endpoint.port);
  const int socket = OpenSocket(local.data()->sa_family);
  if (socket < 0) return LastError();
  socket_.assign(socket, error);
  if (error) {
    close(socket);
    return {error.value(), std::system_category()};
  }
  endpoint_ = endpoint;
  return Bind(socket, local, place) ? std::error_code() : LastError();
}

void UdpListener::Share(bool on) {
  // Refused only where the descriptor is lost, which the next check finds.
  Enable(socket_.native_handle(), SOL_SOCKET, SO_REUSEADDR, on ? 1 : 0);
}

std::error_code UdpListener::SetMark(uint32_t mark) {
  const int socket = socket_.native_handle();
  if (setsockopt(socket, SOL_SOCKET, SO_MARK, &mark, sizeof(mark)) != 0) return LastError();
  is_marked_ = mark != 0;
  // Without it the kernel looks for the answer's source outside of all VRF devices only.
  const bool is_v6 = endpoint_.address.find(':') != std::string::npos;
  const bool done = !is_v6 || Enable(socket, IPPROTO_IPV6, IPV6_FREEBIND, is_marked_ ? 1 : 0);
  return done ? std::error_code() : LastError();
}

bool UdpListener::Receive(Datagram& datagram) {
  iovec bytes = {datagram.buffer.data(), datagram.buffer.size()};
  msghdr message = MessageOf(bytes, datagram.peer, sizeof(datagram.peer), datagram.control.data(),
                             datagram.control.size());
  const ssize_t size = Take(socket_.native_handle(), message);
  failure_ = size < 0 && !IsEmpty(errno) ? LastError() : std::error_code();
  if (size < 0) return false;
  ++received_;
  datagram.size = static_cast<size_t>(size);
  datagram.peer_size = message.msg_namelen;
  datagram.control_size = AnswerControlSize(message, datagram.peer, is_marked_);
  return true;
}

std::error_code UdpListener::Answer(Datagram& request, std::string_view answer) {
  iovec bytes = {const_cast<char*>(answer.data()), answer.size()};
  const msghdr message = MessageOf(bytes, request.peer, request.peer_size, request.control.data(),
                                   request.control_size);
  const ssize_t sent = sendmsg(socket_.native_handle(), &message, MSG_NOSIGNAL);
  return sent < 0 ? LastError() : std::error_code();
}

bool UdpListener::HasQueued() {
  int size = 0;
  return ioctl(socket_.native_handle(), FIONREAD, &size) == 0 && size > 0;
}

std::error_code UdpListener::Check() {
  udp::endpoint local;
  auto size = static_cast<socklen_t>(local.capacity());
  if (getsockname(socket_.native_handle(), local.data(), &size) != 0) return LastError();
  const bool is_own = size <= local.capacity() && local.port() == endpoint_.port;
  return is_own ? std::error_code() : std::make_error_code(std::errc::bad_file_descriptor);
}

// Only what is known to be closed already, or somebody else's, is left alone.
void UdpListener::Close() {
  boost::system::error_code ignored;
  const std::error_code error = Check();
  if (error == std::errc::bad_file_descriptor || error == std::errc::not_a_socket) {
    socket_.release();
  } else {
    socket_.close(ignored);
  }
}

size_t UdpListener::QueueLimit() {
  int bytes = 0;
  socklen_t size = sizeof(bytes);
  const int result = getsockopt(socket_.native_handle(), SOL_SOCKET, SO_RCVBUF, &bytes, &size);
  return result == 0 ? static_cast<size_t>(bytes) / kSmallestCharge + 1 : 0;
}

}  // namespace host
