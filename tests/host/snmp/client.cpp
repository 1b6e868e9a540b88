#include "client.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>

namespace host::test {

using boost::asio::ip::udp;

udp::endpoint ToUdp(const Endpoint& endpoint) {
  return {boost::asio::ip::make_address(endpoint.address), endpoint.port};
}

uint16_t FreePort() {
  boost::asio::io_context unused;
  // IPv6 with mapped IPv4, so that both are free.
  udp::socket socket(unused, udp::endpoint(udp::v6(), 0));
  return socket.local_endpoint().port();
}

// Listeners stand behind FD_SETSIZE.
int SocketAt(const Endpoint& endpoint) {
  constexpr int kDescriptorsAtMost = 2048;
  const udp::endpoint wanted = ToUdp(endpoint);
  for (int socket = 0; socket < kDescriptorsAtMost; ++socket) {
    udp::endpoint local;
    auto size = static_cast<socklen_t>(local.capacity());
    if (::getsockname(socket, local.data(), &size) != 0) continue;
    if (size == wanted.size() && local == wanted) return socket;
  }
  return -1;
}

Client::Client(const Endpoint& server) : socket_(unused_) {
  socket_.connect(ToUdp(server));
  socket_.non_blocking(true);
}

void Client::Send(const std::string& bytes) { socket_.send(boost::asio::buffer(bytes)); }

std::optional<Response> Client::TakeAnswer() {
  std::array<char, 2048> buffer;
  boost::system::error_code error;
  const size_t size = socket_.receive(boost::asio::buffer(buffer), 0, error);
  return error ? std::nullopt : Decode({buffer.data(), size});
}

std::optional<Response> Client::WaitForAnswer(int milliseconds) {
  pollfd waiting = {socket_.native_handle(), POLLIN, 0};
  ::poll(&waiting, 1, milliseconds);
  return TakeAnswer();
}

}  // namespace host::test
