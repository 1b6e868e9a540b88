// The sign of life that a service manager may want; see sd_watchdog_enabled(3).
#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <optional>

#include "runtime/waiting.h"

namespace host {

/// Sends WATCHDOG=1 from the loop at half the period that the service manager asks for, so a loop
/// that hangs is noticed. Without such a period there is no timer, and nothing is sent.
///
/// A check that never returns, of another thread say, keeps the sign of life back, too.
class Watchdog {
 public:
  /// Reads WATCHDOG_USEC and WATCHDOG_PID. `check` is called before each sign of life; it may be
  /// empty. `loop` outlives the object.
  explicit Watchdog(boost::asio::io_context& loop, std::function<void()> check = {});

 private:
  void Wait();

  std::function<void()> check_;
  std::chrono::microseconds pause_{0};
  std::optional<Alarm> alarm_;
};

}  // namespace host
