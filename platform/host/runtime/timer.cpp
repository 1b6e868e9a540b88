#include "vkos/timer.h"

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <string>
#include <utility>

#include "runtime/process.h"
#include "runtime/waiting.h"

namespace vkos {

struct Timer::Impl {
  using Clock = std::chrono::steady_clock;

  Impl(const vkmw_sig_t& signal, long period_ms, Callback& action)
      : period(period_ms), callback(action), waiting(std::string("timer ") + signal.name) {}

  /// Starts a round. The system's timer is set by the loop, so that a timer that is stopped at once
  /// causes no wake-up.
  void Start() {
    boost::asio::post(timers->loop,
                      waiting.Begin([this, due = Clock::now() + period] { Wait(due); }));
    SetRunning(true);
  }

  void Wait(Clock::time_point due) {
    timer.expires_at(due);
    timer.async_wait(waiting.Begin([this](const boost::system::error_code& error) {
      if (!error) Fire();
    }));
  }

  void Fire() {
    SetRunning(false);
    ++timers->facts.fired;
    const std::shared_ptr<void> scope = timers->scope ? timers->scope() : nullptr;
    callback.Execute();
  }

  void Stop() {
    SetRunning(false);
    waiting.End();
    timer.cancel();
  }

  ~Impl() { SetRunning(false); }

  void SetRunning(bool runs) {
    if (runs != running) timers->facts.running += runs ? 1 : -1;
    running = runs;
  }

  bool running = false;
  std::chrono::milliseconds period;
  Callback& callback;
  const std::shared_ptr<host::TimerLoop> timers = host::ThisProcess().timers;
  boost::asio::steady_timer timer{timers->loop};
  host::Waiting waiting;
};

Timer::Timer(const vkmw_sig_t* signal, long period_ms, Callback& callback, bool /*flag*/)
    : impl_(std::make_unique<Impl>(*signal, period_ms, callback)) {
  impl_->Start();
}

Timer::~Timer() = default;

void Timer::Pause() { impl_->Stop(); }

void Timer::Resume(long /*argument*/) { impl_->Start(); }

}  // namespace vkos
