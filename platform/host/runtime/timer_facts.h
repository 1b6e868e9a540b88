// The program's timers: their loop, and what they have done.
#pragma once

#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <functional>
#include <memory>

namespace host {

/// Of the vkos::Timers that one process has made, which are the program's: the platform's own are
/// none of them. The program has one, that of the bind retry.
struct TimerFacts {
  int running = 0;     ///< Timers that will fire.
  uint64_t fired = 0;  ///< Since the start.
};

/// Called before a timer's callback; what it returns is kept until the callback has returned.
using TimerScope = std::function<std::shared_ptr<void>()>;

/// What a timer needs of its process, shared by both.
struct TimerLoop {
  boost::asio::io_context loop{1};
  TimerFacts facts;
  TimerScope scope;  ///< Of all timers; none when it is empty.
};

}  // namespace host
