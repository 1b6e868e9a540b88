// The timer that the agent's library asks for.
#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <optional>

#include "runtime/waiting.h"

namespace host {

/// Lives between the library's coming up and going down.
class LibraryTimer {
 public:
  /// `on_failure` is told of exceptions; `loop` outlives the object.
  LibraryTimer(boost::asio::io_context& loop, OnFailure on_failure);

  LibraryTimer(const LibraryTimer&) = delete;
  LibraryTimer& operator=(const LibraryTimer&) = delete;

  /// Asks the library when it has something to do, and has the loop do it then. Needed after
  /// everything that the library did. Without anything to do, no timer runs.
  void Follow();

  /// Whether the library has something to do later.
  bool Runs() const { return due_.has_value(); }

 private:
  using Clock = std::chrono::steady_clock;

  void Expire();

  Alarm alarm_;
  std::optional<Clock::time_point> due_;
};

}  // namespace host
