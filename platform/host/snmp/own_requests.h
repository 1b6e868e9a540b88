// Requests of the daemon's own, by which it sees whether its listeners are heard.
#pragma once

#include <sys/socket.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/udp.hpp>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "snmp/endpoint.h"

namespace host {

/// Asks listeners for sysUpTime.0, as a manager on this machine would: wildcards at the loopback
/// address, others at their own. The community is 128 random bits of this process, and good only
/// for what IsFrom() says yes to.
class OwnRequests {
 public:
  /// What became of one.
  struct Asked {
    boost::asio::ip::udp::endpoint at;
    uint64_t received = 0;  ///< By the listener until then, as Ask() was told.
    bool has_come = false;  ///< To the listener.
    bool answered = false;
  };
  using AllAsked = std::map<Endpoint, Asked>;

  /// `loop` outlives the object. Throws std::system_error when there are no random bytes to be had
  /// (getrandom(2)).
  explicit OwnRequests(boost::asio::io_context& loop);

  /// Asks the listener, in its normal form, which has taken `received` datagrams so far. Nothing is
  /// asked where the system refuses to send it.
  void Ask(const Endpoint& listener, uint64_t received);

  /// True while somebody is asked.
  bool IsAsking() const { return !asked_.empty(); }

  /// Whether what came to the listener from `peer` is the request that it was asked; taken down.
  bool IsFrom(const Endpoint& listener, const sockaddr_storage& peer) {
    return IsAsking() && TakeDown(listener, peer);
  }

  /// Reads the answers that have come, closes the sockets and returns what became of all; nobody is
  /// asked then.
  AllAsked Take();

  /// 16 bytes, any of them.
  const std::string& Community() const { return community_; }

 private:
  using Socket = boost::asio::ip::udp::socket;

  bool TakeDown(const Endpoint& listener, const sockaddr_storage& peer);
  Socket* Open(bool is_v6);
  void ReadAnswers(Socket& socket);
  std::string Request() const;

  Socket v4_;
  Socket v6_;
  std::string community_;
  AllAsked asked_;
};

}  // namespace host
