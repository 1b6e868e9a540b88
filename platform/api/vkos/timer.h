// A timer on the event loop.
#pragma once

#include <memory>

#include "vkmw/vkmw.h"
#include "vkos/callback.h"

namespace vkos {

/// Calls its callback once, one period after each Resume, and rests until it is resumed again.
class Timer {
 public:
  /// `signal` is copied. `period_ms` is in milliseconds. The callback stays the caller's and
  /// outlives the timer. The meaning of `flag` is the platform's; the program passes false. A new
  /// timer is running. Needs an installed vkos::the_context.
  Timer(const vkmw_sig_t* signal, long period_ms, Callback& callback, bool flag);

  /// A callback that is due is not called any more.
  ~Timer();

  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  /// Stops the timer. Nothing happens when it rests.
  void Pause();

  /// Starts a whole period anew. The meaning of `argument` is the platform's; the program passes 0.
  void Resume(long argument);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace vkos
