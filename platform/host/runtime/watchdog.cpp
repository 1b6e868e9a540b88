#include "runtime/watchdog.h"

#include <systemd/sd-daemon.h>

#include <cstdint>
#include <utility>

#include "runtime/event_loop.h"
#include "runtime/service_manager.h"

namespace host {

Watchdog::Watchdog(boost::asio::io_context& loop, std::function<void()> check)
    : check_(std::move(check)) {
  uint64_t period_us = 0;
  if (sd_watchdog_enabled(0, &period_us) <= 0) return;
  pause_ = std::chrono::microseconds(period_us / 2);
  timer_.emplace(loop);
  Wait();
}

void Watchdog::Wait() {
  timer_->expires_after(pause_);
  timer_->async_wait([this](const boost::system::error_code& error) {
    // The object may be gone then.
    if (error) return;
    RunEvent("watchdog", [this] {
      if (check_) check_();
      Notify("WATCHDOG=1");
    });
    Wait();
  });
}

}  // namespace host
