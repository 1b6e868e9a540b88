// A manager on the loopback interface, and free ports for the agents that it asks.
#pragma once

#include <boost/asio/ip/udp.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "message.h"
#include "snmp/endpoint.h"

namespace host::test {

/// A UDP port that nobody uses on 127.0.0.1 and ::1.
uint16_t FreePort();

boost::asio::ip::udp::endpoint ToUdp(const Endpoint& endpoint);

/// The socket of this process that is bound to the endpoint; -1 for none.
int SocketAt(const Endpoint& endpoint);

/// A socket connected to one listener, so that it hears what comes from there only.
class Client {
 public:
  explicit Client(const Endpoint& server);

  void Send(const std::string& bytes);
  void Send(const Message& message) { Send(Encode(message)); }

  /// The next answer that has come; none when there is none.
  std::optional<Response> TakeAnswer();

  /// The next answer, waited for until the time is over.
  std::optional<Response> WaitForAnswer(int milliseconds);

 private:
  boost::asio::io_context unused_;
  boost::asio::ip::udp::socket socket_;
};

}  // namespace host::test
