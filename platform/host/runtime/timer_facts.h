// What the timers of the process have done.
#pragma once

#include <cstdint>

namespace host {

struct TimerFacts {
  int running = 0;     ///< Timers that will fire.
  uint64_t fired = 0;  ///< Since the start of the process, of all timers together.
};

/// Of all timers together; the program's one timer is that of the bind retry.
const TimerFacts& FactsOfTimers();

}  // namespace host
