// What objects wait for on a loop.
#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "runtime/event_loop.h"

namespace host {

/// Makes the handlers that an object gives to its loop, one wait at a time. A handler is called
/// only as long as this object lives and nothing has begun or ended a wait since: what the loop has
/// in its queue already comes all the same. It may destroy the object. An exception that leaves it
/// is told as RunEvent() does.
class Waiting {
 public:
  explicit Waiting(std::string what, OnFailure on_failure = RaiseFault)
      : state_(std::make_shared<State>(State{std::move(what), std::move(on_failure)})) {}

  Waiting(const Waiting&) = delete;
  Waiting& operator=(const Waiting&) = delete;

  /// The handler of a new wait, for any arguments that `call` takes.
  template <typename Call>
  auto Begin(Call call) {
    return [waiting = std::weak_ptr(state_), round = ++state_->round,
            call = std::move(call)](auto&&... arguments) mutable {
      const auto state = waiting.lock();
      if (state == nullptr || state->round != round) return;
      RunEvent(
          state->what.c_str(), [&] { call(std::forward<decltype(arguments)>(arguments)...); },
          state->on_failure);
    };
  }

  /// What waits is not called any more.
  void End() { ++state_->round; }

 private:
  struct State {
    std::string what;
    OnFailure on_failure;
    unsigned int round = 0;
  };

  std::shared_ptr<State> state_;
};

/// A call at a time, one at most; as Waiting has it.
class Alarm {
 public:
  using Clock = std::chrono::steady_clock;

  /// The executor's loop outlives the object.
  Alarm(const boost::asio::any_io_executor& executor, std::string what,
        OnFailure on_failure = RaiseFault)
      : waiting_(std::move(what), std::move(on_failure)), timer_(executor) {}

  /// Replaces an earlier call that has not come.
  void At(Clock::time_point due, std::function<void()> call);
  void After(Clock::duration time, std::function<void()> call) {
    At(Clock::now() + time, std::move(call));
  }

  /// The call does not come any more.
  void Stop();

 private:
  Waiting waiting_;
  boost::asio::steady_timer timer_;
};

}  // namespace host
