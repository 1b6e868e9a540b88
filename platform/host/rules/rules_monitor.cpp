#include "rules/rules_monitor.h"

#include <linux/rtnetlink.h>
#include <netlink/errno.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <string>
#include <utility>

#include "rules/netlink_messages.h"
#include "rules/routing_rule.h"
#include "runtime/log.h"

namespace host {

namespace {

constexpr char kWhat[] = "watch of the routing rules";

/// What removes rules mostly removes many: all of them are looked at together.
constexpr std::chrono::milliseconds kMoment(100);

/// Until a socket that cannot be had is tried again.
constexpr std::chrono::seconds kPause(5);

/// Notifications that one event of the loop takes; what is left makes the next one.
constexpr int kBatch = 256;

/// The notification of a rule has a few hundred bytes.
constexpr size_t kRoom = 8192;

/// Whether a datagram tells that own rules are gone; one that is not whole may have told that.
bool TellsDeletion(char* data, size_t size) {
  bool deleted = false;
  const bool is_whole = size <= kRoom && ForEachMessage(data, size, [&](nlmsghdr* message) {
                          deleted = IsOwnDeletion(message);
                          return !deleted;
                        });
  return deleted || !is_whole;
}

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
  Check(nl_connect(socket_.get(), NETLINK_ROUTE), "connect");
  Check(nl_socket_add_memberships(socket_.get(), RTNLGRP_IPV4_RULE, RTNLGRP_IPV6_RULE, 0), "join");
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

void RulesMonitor::ReadNotifications() {
  bool deleted = false;
  for (int i = 0; i < kBatch; ++i) {
    alignas(nlmsghdr) std::array<char, kRoom> bytes;
    const ssize_t size = ::recvfrom(nl_socket_get_fd(socket_.get()), bytes.data(), bytes.size(),
                                    MSG_DONTWAIT | MSG_TRUNC, nullptr, nullptr);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0 && errno == EAGAIN) break;
    if (size < 0) {
      // It may have cost notifications, and anything but "too many" the socket.
      if (errno != ENOBUFS) Close();
      deleted = true;
      break;
    }
    if (TellsDeletion(bytes.data(), static_cast<size_t>(size))) deleted = true;
  }
  if (deleted) Schedule(kMoment);
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
