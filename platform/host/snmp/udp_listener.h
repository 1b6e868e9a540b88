// One UDP socket that requests come in by and their answers leave by.
#pragma once

#include <sys/socket.h>

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "snmp/endpoint.h"

namespace host {

/// A received datagram and what an answer to it needs. Made once and used for all, for its buffer
/// holds the largest one there is.
struct Datagram {
  std::string_view Bytes() const { return {buffer.data(), size}; }

  std::vector<char> buffer = std::vector<char>(65536);
  size_t size = 0;
  sockaddr_storage peer = {};
  socklen_t peer_size = 0;
  /// For a listener on a wildcard address: the control message that makes an answer leave from the
  /// address that was asked.
  alignas(cmsghdr) std::array<char, 64> control = {};
  size_t control_size = 0;
};

/// Never waits: what cannot be read or sent at once is not.
class UdpListener {
 public:
  /// Without a socket; `loop` outlives the object.
  explicit UdpListener(boost::asio::io_context& loop) : socket_(loop) {}

  /// Before everything else: opens a socket at `endpoint`. Alone it is bound only where no other
  /// socket is, whatever that one shares; otherwise beside those that share. Returns the system's
  /// error, and may be called again then.
  enum class Place { kAlone, kBeside };
  std::error_code Open(const Endpoint& endpoint, Place place = Place::kAlone);

  /// Where it is open.
  const Endpoint& At() const { return endpoint_; }

  /// Whether others with SO_REUSEADDR may be bound beside it, the newest of which hears what comes.
  /// Nothing happens when it is not open.
  void Share(bool on);

  /// What is sent from now on carries `mark`, 0 for none. Answers of a marked listener leave by the
  /// table that the mark leads to, also from addresses that VRF devices keep from the other tables.
  /// Returns the system's error; without the right to administer the network it is EPERM.
  std::error_code SetMark(uint32_t mark);

  /// Takes the next datagram from the queue; false when there is none, or when the system refuses
  /// to give it, which Failure() tells then.
  bool Receive(Datagram& datagram);

  /// Why the last Receive() was refused, again and again; no error when it was not.
  const std::error_code& Failure() const { return failure_; }

  /// How many datagrams were taken.
  uint64_t Received() const { return received_; }

  /// Whether something waits to be taken, an empty datagram aside.
  bool HasQueued();

  /// Whether the descriptor is still that of the socket that was opened; the error when it is not.
  std::error_code Check();

  /// Closes the socket; a descriptor that is not its own any more is let go as it is.
  void Close();

  /// Sends `answer` back to where `request` came from. What cannot be sent at once is dropped, for
  /// a manager asks again. Returns the system's error.
  std::error_code Answer(Datagram& request, std::string_view answer);

  /// No more datagrams than these can be queued at any time; 0 when it is not open.
  size_t QueueLimit();

  /// Calls `handler` with an error code once a datagram is queued, or with an error when the
  /// listener is destroyed.
  template <typename Handler>
  void WaitForRequest(Handler&& handler) {
    socket_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                       std::forward<Handler>(handler));
  }

 private:
  boost::asio::posix::stream_descriptor socket_;
  Endpoint endpoint_;
  bool is_marked_ = false;
  uint64_t received_ = 0;
  std::error_code failure_;
};

}  // namespace host
