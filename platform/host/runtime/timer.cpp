#include "vkos/timer.h"

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <string>
#include <utility>

#include "runtime/event_loop.h"
#include "runtime/process.h"

namespace vkos {

struct Timer::Impl {
  using Clock = std::chrono::steady_clock;

  Impl(const vkmw_sig_t& signal, long period_ms, Callback& action)
      : name(signal.name), period(period_ms), callback(action) {}

  /// Starts a round. The system's timer is set by the loop, so that a timer that is stopped at once
  /// causes no wake-up.
  void Start() {
    SetRunning(true);
    const unsigned int mine = ++*round;
    const std::weak_ptr<unsigned int> current = round;
    boost::asio::post(timers->loop, [this, mine, current, due = Clock::now() + period] {
      if (IsCurrent(mine, current)) Wait(mine, due);
    });
  }

  void Wait(unsigned int mine, Clock::time_point due) {
    const std::weak_ptr<unsigned int> current = round;
    timer.expires_at(due);
    timer.async_wait([this, mine, current](const boost::system::error_code& error) {
      if (error || !IsCurrent(mine, current)) return;
      SetRunning(false);
      ++timers->facts.fired;
      host::RunEvent("timer " + name, [this] {
        const std::shared_ptr<void> scope = timers->scope ? timers->scope() : nullptr;
        callback.Execute();
      });
    });
  }

  void Stop() {
    SetRunning(false);
    ++*round;
    timer.cancel();
  }

  /// False when the timer was stopped, started anew or destroyed after the round began; what the
  /// loop has in its queue already is called all the same.
  static bool IsCurrent(unsigned int mine, const std::weak_ptr<unsigned int>& current) {
    const std::shared_ptr<unsigned int> alive = current.lock();
    return alive != nullptr && *alive == mine;
  }

  ~Impl() { SetRunning(false); }

  void SetRunning(bool runs) {
    if (runs != running) timers->facts.running += runs ? 1 : -1;
    running = runs;
  }

  std::string name;
  bool running = false;
  std::chrono::milliseconds period;
  Callback& callback;
  const std::shared_ptr<host::TimerLoop> timers = host::ThisProcess().timers;
  boost::asio::steady_timer timer{timers->loop};
  std::shared_ptr<unsigned int> round = std::make_shared<unsigned int>(0);
};

Timer::Timer(const vkmw_sig_t* signal, long period_ms, Callback& callback, bool /*flag*/)
    : impl_(std::make_unique<Impl>(*signal, period_ms, callback)) {
  impl_->Start();
}

Timer::~Timer() = default;

void Timer::Pause() { impl_->Stop(); }

void Timer::Resume(long /*argument*/) { impl_->Start(); }

}  // namespace vkos
