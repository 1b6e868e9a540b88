// The timer that the agent's library asks for.
#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <memory>
#include <optional>

namespace host {

class LibraryTimer {
 public:
  explicit LibraryTimer(boost::asio::io_context& loop);

  LibraryTimer(const LibraryTimer&) = delete;
  LibraryTimer& operator=(const LibraryTimer&) = delete;

  /// Asks the library when it has something to do, and has the loop do it then. Needed after
  /// everything that the library did. Without anything to do, no timer runs.
  void Follow();

  bool Runs() const { return due_.has_value(); }

 private:
  using Clock = std::chrono::steady_clock;

  void Start(Clock::time_point due);
  void Expire();

  boost::asio::steady_timer timer_;
  std::optional<Clock::time_point> due_;
  // Gone before the loop drops the calls that it has queued already.
  std::shared_ptr<LibraryTimer*> self_ = std::make_shared<LibraryTimer*>(this);
};

}  // namespace host
