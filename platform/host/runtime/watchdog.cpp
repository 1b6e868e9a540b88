#include "runtime/watchdog.h"

#include <systemd/sd-daemon.h>

#include <cstdint>
#include <utility>

#include "runtime/service_manager.h"

namespace host {

Watchdog::Watchdog(boost::asio::io_context& loop, std::function<void()> check)
    : check_(std::move(check)) {
  uint64_t period_us = 0;
  if (sd_watchdog_enabled(0, &period_us) <= 0) return;
  pause_ = std::chrono::microseconds(period_us / 2);
  alarm_.emplace(loop.get_executor(), "watchdog", EndWithFault);
  Wait();
}

void Watchdog::Wait() {
  alarm_->After(pause_, [this] {
    RunEvent("watchdog", [this] {
      if (check_) check_();
      Notify("WATCHDOG=1");
    });
    Wait();
  });
}

}  // namespace host
