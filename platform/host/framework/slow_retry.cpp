#include "framework/slow_retry.h"

#include <algorithm>
#include <utility>

namespace host {

SlowRetry::SlowRetry(boost::asio::io_context& loop, Attempt attempt, Delay first, Delay longest)
    : attempt_(std::move(attempt)),
      first_(first),
      longest_(longest),
      delay_(first),
      alarm_(loop.get_executor(), "another attempt", EndWithFault) {}

void SlowRetry::Follow(bool is_refused) {
  runs_ = is_refused;
  if (!is_refused) {
    alarm_.Stop();
    return;
  }
  delay_ = first_;
  Wait();
}

void SlowRetry::Wait() {
  alarm_.After(delay_, [this] { Try(); });
}

void SlowRetry::Try() {
  delay_ = std::min(2 * delay_, longest_);
  RunEvent("another attempt", [this] { runs_ = attempt_(); });
  if (runs_) Wait();
}

}  // namespace host
