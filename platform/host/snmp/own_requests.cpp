#include "snmp/own_requests.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <boost/asio/ip/v6_only.hpp>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace host {

namespace {

using boost::asio::ip::udp;

constexpr size_t kCommunitySize = 16;

/// RFC 3416, section 3, within a message of RFC 1901; each length takes one byte.
constexpr char kRequestType = '\xa0';
constexpr char kAnswerType = '\xa2';

std::string Tagged(char tag, const std::string& content) {
  return std::string{tag, static_cast<char>(content.size())} + content;
}

std::string Number(char value) { return Tagged('\x02', {value}); }

std::string RandomBytes() {
  std::string bytes(kCommunitySize, '\0');
  // Fewer than 256 bytes come whole, getrandom(2).
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    throw std::system_error(errno, std::system_category(), "no random bytes");
  }
  return bytes;
}

udp::endpoint ReachedAt(const Endpoint& listener) {
  using boost::asio::ip::address;
  address at = boost::asio::ip::make_address(listener.address);
  if (at.is_unspecified()) {
    at = at.is_v6() ? address(boost::asio::ip::address_v6::loopback())
                    : address(boost::asio::ip::address_v4::loopback());
  }
  return {at, listener.port};
}

udp::endpoint ToUdp(const sockaddr_storage& peer) {
  udp::endpoint result(peer.ss_family == AF_INET6 ? udp::v6() : udp::v4(), 0);
  memcpy(result.data(), &peer, result.size());
  return result;
}

/// From the message's head to the type of what is in it.
std::string Head(const std::string& community) { return Number(1) + Tagged('\x04', community); }

}  // namespace

OwnRequests::OwnRequests(boost::asio::io_context& loop)
    : v4_(loop), v6_(loop), community_(RandomBytes()) {}

std::string OwnRequests::Request() const {
  const std::string up_time("\x2b\x06\x01\x02\x01\x01\x03\x00", 8);  // 1.3.6.1.2.1.1.3.0
  const std::string binding = Tagged('\x30', Tagged('\x06', up_time) + Tagged('\x05', ""));
  return Tagged('\x30', Head(community_) + Tagged(kRequestType, Number(1) + Number(0) + Number(0) +
                                                                    Tagged('\x30', binding)));
}

OwnRequests::Socket* OwnRequests::Open(bool is_v6) {
  Socket& socket = is_v6 ? v6_ : v4_;
  if (socket.is_open()) return &socket;
  const udp protocol = is_v6 ? udp::v6() : udp::v4();
  boost::system::error_code error;
  socket.open(protocol, error);
  if (!error) socket.non_blocking(true, error);
  if (!error && is_v6) socket.set_option(boost::asio::ip::v6_only(true), error);
  if (!error) socket.bind({protocol, 0}, error);
  if (!error) return &socket;
  socket.close(error);
  return nullptr;
}

void OwnRequests::Ask(const Endpoint& listener, uint64_t received) {
  const udp::endpoint at = ReachedAt(listener);
  Socket* socket = Open(at.address().is_v6());
  if (socket == nullptr) return;
  boost::system::error_code error;
  socket->send_to(boost::asio::buffer(Request()), at, 0, error);
  if (!error) asked_[listener] = {at, received, false, false};
}

bool OwnRequests::TakeDown(const Endpoint& listener, const sockaddr_storage& peer) {
  const auto asked = asked_.find(listener);
  if (asked == asked_.end()) return false;
  const udp::endpoint from = ToUdp(peer);
  const Socket& socket = from.address().is_v6() ? v6_ : v4_;
  boost::system::error_code error;
  // A local address is asked from itself.
  const bool is_own = socket.is_open() && from.port() == socket.local_endpoint(error).port() &&
                      !error && from.address() == asked->second.at.address();
  asked->second.has_come |= is_own;
  return is_own;
}

void OwnRequests::ReadAnswers(Socket& socket) {
  const std::string head = Head(community_) + kAnswerType;
  std::array<char, 256> buffer;
  boost::system::error_code error;
  while (socket.is_open()) {
    udp::endpoint from;
    const size_t size = socket.receive_from(boost::asio::buffer(buffer), from, 0, error);
    if (error) return;
    const std::string_view answer(buffer.data(), size);
    if (answer.substr(std::min<size_t>(2, size), head.size()) != head) continue;
    for (auto& one : asked_) one.second.answered |= one.second.at == from;
  }
}

OwnRequests::AllAsked OwnRequests::Take() {
  ReadAnswers(v4_);
  ReadAnswers(v6_);
  boost::system::error_code ignored;
  v4_.close(ignored);
  v6_.close(ignored);
  return std::exchange(asked_, {});
}

}  // namespace host
