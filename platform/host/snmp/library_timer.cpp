#include "snmp/library_timer.h"

#include <utility>

#include "snmp/netsnmp.h"

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

/// Time until the library has something to do; none when it has not.
std::optional<Clock::duration> TimeLeft() {
  int descriptor_count = 0;
  int block = 1;
  timeval left = {};
  DescriptorSet descriptors;
  snmp_select_info2(&descriptor_count, descriptors.Get(), &left, &block);
  if (block != 0) return std::nullopt;
  return std::chrono::seconds(left.tv_sec) + std::chrono::microseconds(left.tv_usec);
}

}  // namespace

LibraryTimer::LibraryTimer(boost::asio::io_context& loop, OnFailure on_failure)
    : alarm_(loop.get_executor(), "timer of the agent's library", std::move(on_failure)) {}

void LibraryTimer::Follow() {
  const auto left = TimeLeft();
  if (!left) {
    due_.reset();
    alarm_.Stop();
    return;
  }
  // One that fires early finds nothing to do and follows again, so only an earlier time counts.
  const Clock::time_point due = Clock::now() + *left;
  if (!due_ || due < *due_) {
    alarm_.At(due, [this] { Expire(); });
    due_ = due;
  }
}

void LibraryTimer::Expire() {
  due_.reset();
  run_alarms();
  snmp_timeout();
  netsnmp_check_outstanding_agent_requests();
  Follow();
}

}  // namespace host
