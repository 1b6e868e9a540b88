#include "daemon_state.h"

#include <unistd.h>

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/write.hpp>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include "netconf/framing.h"

namespace show {

namespace {

constexpr char kHello[] =
    R"(<hello xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"><capabilities><capability>)"
    R"(urn:ietf:params:netconf:base:1.0</capability></capabilities></hello>)";

std::string GetRequest(const std::string& filter) {
  return R"(<rpc xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="1"><get>)"
         R"(<filter type="subtree">)" +
         filter + "</filter></get></rpc>";
}

/// Thousands of interfaces have some MiB of state.
constexpr size_t kLargestReply = size_t{256} * 1024 * 1024;

/// For a daemon that takes no connection, or does not answer.
class TimeLimit {
 public:
  TimeLimit() {
    std::signal(SIGALRM, End);
    alarm(kSeconds);
  }
  ~TimeLimit() { alarm(0); }
  TimeLimit(const TimeLimit&) = delete;
  TimeLimit& operator=(const TimeLimit&) = delete;

 private:
  static constexpr unsigned int kSeconds = 10;
  static constexpr char kText[] = "snmp-app-show: the daemon has not answered within 10 s\n";

  static void End(int /*signal*/) {
    // Where it cannot be written, the status tells.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kText, sizeof kText - 1);
    _exit(EXIT_FAILURE);
  }
};

/// A session with the daemon.
class Session {
 public:
  explicit Session(const std::string& path) : socket_(loop_), decoder_(kLargestReply) {
    boost::system::error_code error;
    socket_.connect(boost::asio::local::stream_protocol::endpoint(path), error);
    if (error) {
      throw std::runtime_error("cannot reach the daemon at " + path + ": " + error.message());
    }
  }

  void Send(const std::string& message) {
    // What became of it, the answer tells.
    boost::system::error_code ignored;
    boost::asio::write(socket_, boost::asio::buffer(host::FrameDelimited(message)), ignored);
  }

  std::string Receive() {
    while (true) {
      if (std::optional<std::string> message = decoder_.Next()) return *message;
      boost::system::error_code error;
      const size_t size = socket_.read_some(boost::asio::buffer(received_), error);
      if (error) throw std::runtime_error(WhyEnded(error));
      is_greeted_ = true;
      decoder_.Append(received_.data(), size);
    }
  }

 private:
  boost::asio::io_context loop_;
  /// The daemon says nothing to whom it turns away.
  std::string WhyEnded(const boost::system::error_code& error) const {
    if (is_greeted_) return "the daemon has ended the session: " + error.message();
    return "the daemon has turned the connection away: it has as many sessions as it takes, one of "
           "which is kept for root; try again when one has ended";
  }

  boost::asio::local::stream_protocol::socket socket_;
  bool is_greeted_ = false;
  host::FrameDecoder decoder_;
  std::array<char, 65536> received_ = {};
};

/// What stands between the first and the last tag of that name; empty without them.
std::string Between(const std::string& text, const std::string& name) {
  const size_t begin = text.find("<" + name + ">");
  const size_t end = text.rfind("</" + name + ">");
  if (begin == std::string::npos || end == std::string::npos) return "";
  return text.substr(begin + name.size() + 2, end - begin - name.size() - 2);
}

}  // namespace

Reply AskForState(const std::string& socket, const std::string& filter) {
  const TimeLimit limit;
  Session session(socket);
  const std::string hello = session.Receive();
  session.Send(kHello);
  session.Send(GetRequest(filter));
  const std::string reply = session.Receive();
  if (reply.find("<rpc-error>") != std::string::npos) {
    throw std::runtime_error("the daemon refuses: " + reply);
  }
  return {Between(reply, "data"), Between(hello, "session-id")};
}

}  // namespace show
