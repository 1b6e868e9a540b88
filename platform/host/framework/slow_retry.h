// Another attempt after a while, for what the system refuses.
#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <functional>

#include "runtime/waiting.h"

namespace host {

/// Attempts come at growing distances, each twice the one before, and only as long as something is
/// refused.
class SlowRetry {
 public:
  using Delay = std::chrono::milliseconds;

  /// True when something is refused still.
  using Attempt = std::function<bool()>;

  /// Calls `attempt` from `loop`, which outlives the object; it rests until Follow() is called. An
  /// exception of `attempt` is a fault, and there is another attempt. `first` and `longest` are the
  /// distances that it begins with and does not go beyond.
  SlowRetry(boost::asio::io_context& loop, Attempt attempt, Delay first = std::chrono::seconds(5),
            Delay longest = std::chrono::seconds(30));

  SlowRetry(const SlowRetry&) = delete;
  SlowRetry& operator=(const SlowRetry&) = delete;

  /// Somebody else has tried: begins with the first distance, or ends, when nothing is refused.
  void Follow(bool is_refused);

  /// Whether there is to be another attempt.
  bool Runs() const { return runs_; }

 private:
  void Wait();
  void Try();

  Attempt attempt_;
  Delay first_;
  Delay longest_;
  Delay delay_;
  bool runs_ = false;
  Alarm alarm_;
};

}  // namespace host
