// Notices when routing rules of this program go away.
#pragma once

#include <netlink/netlink.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <chrono>
#include <functional>
#include <memory>

#include "runtime/waiting.h"

namespace host {

/// Has a netlink socket of its own, which only listens.
class RulesMonitor {
 public:
  /// Calls `on_deletion` from the loop a moment after somebody, this process too, has deleted
  /// routing rules with this program's protocol number, and after notifications were lost; once for
  /// all that goes away in that moment. Works as long as the object lives; a socket that fails is
  /// replaced, and counts as lost notifications. An exception of `on_deletion` is a fault. `loop`
  /// outlives the object. Throws std::runtime_error when the kernel's notifications cannot be had
  /// (rtnetlink(7), RTNLGRP_IPV4_RULE and RTNLGRP_IPV6_RULE).
  RulesMonitor(boost::asio::io_context& loop, std::function<void()> on_deletion);

  RulesMonitor(const RulesMonitor&) = delete;
  RulesMonitor& operator=(const RulesMonitor&) = delete;

 private:
  struct Free {
    void operator()(nl_sock* socket) const { nl_socket_free(socket); }
  };

  /// The descriptor belongs to the netlink socket.
  struct Released {
    explicit Released(boost::asio::io_context& loop) : descriptor(loop) {}
    ~Released() { descriptor.release(); }
    boost::asio::posix::stream_descriptor descriptor;
  };

  void Open();
  void Close();
  void OpenAgain();
  void WaitForNotification();
  void ReadNotifications();
  void Schedule(std::chrono::milliseconds pause);
  void Look();

  std::function<void()> on_deletion_;
  std::unique_ptr<nl_sock, Free> socket_;
  Released notifications_;
  Waiting waiting_;
  Alarm alarm_;
  bool scheduled_ = false;
};

}  // namespace host
