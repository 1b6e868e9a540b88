#include "framework/slow_retry.h"

#include <algorithm>
#include <utility>

#include "runtime/event_loop.h"

namespace host {

SlowRetry::SlowRetry(boost::asio::io_context& loop, Attempt attempt, Delay first, Delay longest)
    : attempt_(std::move(attempt)), first_(first), longest_(longest), delay_(first), timer_(loop) {}

void SlowRetry::Follow(bool is_refused) {
  runs_ = is_refused;
  if (!is_refused) {
    timer_.cancel();
    return;
  }
  delay_ = first_;
  Wait();
}

void SlowRetry::Wait() {
  timer_.expires_after(delay_);
  timer_.async_wait([self = std::weak_ptr(self_)](const boost::system::error_code& error) {
    const auto retry = self.lock();
    if (!error && retry) (*retry)->Try();
  });
}

void SlowRetry::Try() {
  if (!runs_ || timer_.expiry() > std::chrono::steady_clock::now()) return;
  delay_ = std::min(2 * delay_, longest_);
  RunEvent("another attempt", [this] { runs_ = attempt_(); });
  if (runs_) Wait();
}

}  // namespace host
