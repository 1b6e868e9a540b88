// Who connects to a UNIX socket.
#pragma once

#include <boost/asio/local/stream_protocol.hpp>
#include <functional>
#include <string>

#include "runtime/waiting.h"

namespace host {

/// Takes connections one after the other as long as the object lives. What the system refuses, for
/// want of descriptors say, is logged, and tried again a second later.
class Door {
 public:
  using Protocol = boost::asio::local::stream_protocol;
  using OnConnection = std::function<void(Protocol::socket socket)>;

  /// `acceptor`, which listens, outlives the object. `what` names a connection in records; an
  /// exception of `on_connection` is a fault, and the next one is taken.
  Door(Protocol::acceptor* acceptor, std::string what, OnConnection on_connection);

  Door(const Door&) = delete;
  Door& operator=(const Door&) = delete;

 private:
  void Accept();
  void Take(const boost::system::error_code& error, Protocol::socket socket);

  Protocol::acceptor* acceptor_;
  std::string what_;
  OnConnection on_connection_;
  Waiting waiting_;
  Alarm pause_;
};

}  // namespace host
