#include "netconf_client.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <system_error>

#include "netconf/framing.h"
#include "netconf_support.h"

namespace host::test {

namespace {

constexpr char kEnd[] = "]]>]]>";
constexpr char kEndOfChunks[] = "\n##\n";

}  // namespace

bool RunUntil(boost::asio::io_context* loop, const std::function<bool()>& done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    loop->restart();
    loop->run_one_for(std::chrono::milliseconds(1));
  }
  return true;
}

std::string HelloText(const std::string& version, const std::string& more) {
  return std::string("<hello xmlns=\"") + host::kNetconfNamespace +
         "\"><capabilities><capability>urn:ietf:params:netconf:base:" + version +
         "</capability></capabilities>" + more + "</hello>";
}

NetconfClient::NetconfClient(boost::asio::io_context* loop, const std::string& path)
    : loop_(loop), socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int error = errno;
    Close();
    throw std::system_error(error, std::generic_category(), path);
  }
}

void NetconfClient::Close() {
  if (socket_ >= 0) close(socket_);
  socket_ = -1;
}

void NetconfClient::Send(const std::string& bytes) const {
  size_t sent = 0;
  RunUntil(loop_, [&] {
    const ssize_t size =
        send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (size > 0) sent += static_cast<size_t>(size);
    return sent == bytes.size() || (size < 0 && errno != EAGAIN);
  });
}

void NetconfClient::Request(const std::string& operation, int message_id) const {
  const std::string rpc = Rpc(operation, "message-id=\"" + std::to_string(message_id) + "\"");
  Send(chunked_ ? host::FrameChunked(rpc) : host::FrameDelimited(rpc));
}

void NetconfClient::Fill() {
  std::array<char, 65536> bytes;
  const ssize_t size = recv(socket_, bytes.data(), bytes.size(), MSG_DONTWAIT);
  if (size > 0) {
    input_.append(bytes.data(), static_cast<size_t>(size));
  } else if (size == 0 || errno != EAGAIN) {
    closed_ = true;
  }
}

/// The server sends each message in one chunk.
bool NetconfClient::TakeMessage(std::string* message) {
  if (!chunked_) {
    const size_t end = input_.find(kEnd);
    if (end == std::string::npos) return false;
    *message = input_.substr(0, end);
    input_.erase(0, end + sizeof kEnd - 1);
    return true;
  }
  const size_t header = input_.find('\n', 1);
  if (header == std::string::npos) return false;
  if (input_.compare(0, 2, "\n#") != 0) throw std::runtime_error("no chunk: " + input_);
  const size_t size = std::stoul(input_.substr(2));
  if (input_.size() < header + 1 + size + sizeof kEndOfChunks - 1) return false;
  if (input_.compare(header + 1 + size, sizeof kEndOfChunks - 1, kEndOfChunks) != 0) {
    throw std::runtime_error("the message has more than one chunk");
  }
  *message = input_.substr(header + 1, size);
  input_.erase(0, header + 1 + size + sizeof kEndOfChunks - 1);
  return true;
}

std::string NetconfClient::Receive() {
  std::string message;
  RunUntil(loop_, [&] {
    Fill();
    return TakeMessage(&message) || closed_;
  });
  return message;
}

unsigned int NetconfClient::Greet(const std::string& version, const std::string& more) {
  const std::string hello = Receive();
  Send(host::FrameDelimited(HelloText(version)) + more);
  chunked_ = version == "1.1";
  const std::string id = TextOf(hello, "session-id");
  return id.empty() ? 0 : static_cast<unsigned int>(std::stoul(id));
}

bool NetconfClient::IsClosed() {
  return RunUntil(loop_, [this] {
    Fill();
    return closed_;
  });
}

}  // namespace host::test
