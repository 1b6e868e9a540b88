#include "snmp/library_timer.h"

#include "snmp/netsnmp.h"

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

// Time until the library has something to do; none when it has not.
std::optional<Clock::duration> TimeLeft() {
  int descriptor_count = 0;
  int block = 1;
  timeval left = {};
  DescriptorSet descriptors;
  snmp_select_info2(&descriptor_count, descriptors.Get(), &left, &block);
  if (block != 0) {
    return std::nullopt;
  }
  return std::chrono::seconds(left.tv_sec) + std::chrono::microseconds(left.tv_usec);
}

}  // namespace

LibraryTimer::LibraryTimer(boost::asio::io_context& loop) : timer_(loop) {}

void LibraryTimer::Follow() {
  const auto left = TimeLeft();
  if (!left) {
    due_.reset();
    timer_.cancel();
    return;
  }
  // One that fires early finds nothing to do and follows again, so only an earlier time counts.
  const Clock::time_point due = Clock::now() + *left;
  if (!due_ || due < *due_) {
    Start(due);
  }
}

void LibraryTimer::Start(Clock::time_point due) {
  due_ = due;
  timer_.expires_at(due);
  timer_.async_wait([self = std::weak_ptr(self_)](const boost::system::error_code& error) {
    const auto timer = self.lock();
    if (!error && timer) {
      (*timer)->Expire();
    }
  });
}

void LibraryTimer::Expire() {
  due_.reset();
  run_alarms();
  snmp_timeout();
  netsnmp_check_outstanding_agent_requests();
  Follow();
}

}  // namespace host
