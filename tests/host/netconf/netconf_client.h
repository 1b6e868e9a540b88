// A client of a NETCONF server that runs on the loop of the same thread.
#pragma once

#include <boost/asio/io_context.hpp>
#include <functional>
#include <string>

namespace host::test {

/// Runs the loop until `done` says so; false when that takes too long.
bool RunUntil(boost::asio::io_context* loop, const std::function<bool()>& done);

/// A <hello>; `more` stands behind its capabilities.
std::string HelloText(const std::string& version, const std::string& more = "");

class NetconfClient {
 public:
  /// Connects. `loop` outlives the object.
  NetconfClient(boost::asio::io_context* loop, const std::string& path);
  ~NetconfClient() { Close(); }
  NetconfClient(const NetconfClient&) = delete;
  NetconfClient& operator=(const NetconfClient&) = delete;

  void Close();

  /// Sends bytes as they are.
  void Send(const std::string& bytes) const;

  /// Sends a request, framed.
  void Request(const std::string& operation, int message_id = 1) const;

  /// The next message, empty when none comes.
  std::string Receive();

  /// Takes the server's hello and sends one with that base, and `more` in the same piece; returns
  /// the session's number, 0 when there is no hello.
  unsigned int Greet(const std::string& version = "1.1", const std::string& more = "");

  /// The reply to an operation.
  std::string Ask(const std::string& operation) {
    Request(operation);
    return Receive();
  }

  /// Whether the server closes the connection; what it sends before that is lost.
  bool IsClosed();

 private:
  bool TakeMessage(std::string* message);
  void Fill();

  boost::asio::io_context* loop_;
  int socket_;
  bool chunked_ = false;
  bool closed_ = false;
  std::string input_;
};

}  // namespace host::test
