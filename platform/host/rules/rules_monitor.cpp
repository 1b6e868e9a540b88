#include "rules/rules_monitor.h"

#include <linux/rtnetlink.h>
#include <netlink/errno.h>
#include <netlink/handlers.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <utility>

#include "rules/routing_rule.h"
#include "runtime/log.h"

namespace host {

namespace {

constexpr char kWhat[] = "watch of the routing rules";

/// What removes rules mostly removes many: all of them are looked at together.
constexpr std::chrono::milliseconds kMoment(100);

/// Until a socket that cannot be had is tried again.
constexpr std::chrono::seconds kPause(5);

void Check(int code, const char* operation) {
  if (code < 0) {
    throw std::runtime_error(std::string("routing rules cannot be watched: ") + operation + ": " +
                             nl_geterror(code));
  }
}

}  // namespace

RulesMonitor::RulesMonitor(boost::asio::io_context& loop, std::function<void()> on_deletion)
    : on_deletion_(std::move(on_deletion)),
      notifications_(loop),
      waiting_(kWhat, EndWithFault),
      alarm_(loop.get_executor(), kWhat, EndWithFault) {
  Open();
}

void RulesMonitor::Open() {
  socket_.reset(nl_socket_alloc());
  Check(socket_ == nullptr ? -NLE_NOMEM : 0, "socket");
  nl_socket_disable_seq_check(socket_.get());
  Check(nl_connect(socket_.get(), NETLINK_ROUTE), "connect");
  Check(nl_socket_add_memberships(socket_.get(), RTNLGRP_IPV4_RULE, RTNLGRP_IPV6_RULE, 0), "join");
  Check(nl_socket_set_nonblocking(socket_.get()), "set non-blocking");
  notifications_.descriptor.assign(nl_socket_get_fd(socket_.get()));
  WaitForNotification();
}

void RulesMonitor::Close() {
  if (notifications_.descriptor.is_open()) notifications_.descriptor.release();
  socket_.reset();
}

void RulesMonitor::OpenAgain() {
  try {
    Open();
  } catch (const std::exception& exception) {
    HOST_LOG(kNotice, "%s", exception.what());
    Close();
    Schedule(kPause);
  }
}

void RulesMonitor::WaitForNotification() {
  using boost::asio::posix::stream_descriptor;
  notifications_.descriptor.async_wait(
      stream_descriptor::wait_read, waiting_.Begin([this](const boost::system::error_code& error) {
        if (error) return;
        RunEvent(kWhat, [this] { ReadNotifications(); });
        if (socket_ != nullptr) WaitForNotification();
      }));
}

int RulesMonitor::TakeNotification(nl_msg* message, void* deleted) {
  if (IsOwnDeletion(nlmsg_hdr(message))) *static_cast<bool*>(deleted) = true;
  return NL_OK;
}

void RulesMonitor::ReadNotifications() {
  bool deleted = false;
  nl_socket_modify_cb(socket_.get(), NL_CB_VALID, NL_CB_CUSTOM, TakeNotification, &deleted);
  int code = 0;
  while (code >= 0) code = nl_recvmsgs_default(socket_.get());
  // Anything but "no more" may have cost notifications, and anything but "too many" (ENOBUFS) the
  // socket.
  if (code != -NLE_AGAIN && code != -NLE_NOMEM) Close();
  if (deleted || code != -NLE_AGAIN) Schedule(kMoment);
}

void RulesMonitor::Schedule(std::chrono::milliseconds pause) {
  if (scheduled_) return;
  scheduled_ = true;
  alarm_.After(pause, [this] { Look(); });
}

void RulesMonitor::Look() {
  scheduled_ = false;
  if (socket_ == nullptr) OpenAgain();
  RunEvent(kWhat, on_deletion_);
}

}  // namespace host
