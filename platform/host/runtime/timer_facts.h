// What the timers of the process have done.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace host {

struct TimerFacts {
  int running = 0;     ///< Timers that will fire.
  uint64_t fired = 0;  ///< Since the start of the process, of all timers together.
};

/// Of all timers together; the program's one timer is that of the bind retry.
const TimerFacts& FactsOfTimers();

/// Called before a timer's callback; what it returns is kept until the callback has returned.
using TimerScope = std::function<std::shared_ptr<void>()>;

/// Of all timers; none when it is empty.
void SetTimerScope(TimerScope scope);

}  // namespace host
