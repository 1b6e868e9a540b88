// Virtual time and the timers that run on it.
#pragma once

#include <string>
#include <vector>

#include "vkos/callback.h"

namespace fake {

/// One timer. Runs after Start until it fires, once, one period later.
struct Alarm {
  std::string name;
  long period_ms;
  vkos::Callback* callback;
  bool flag;
  bool running;
  long due_ms;
};

class Clock {
 public:
  long Now() const { return now_ms_; }

  /// Lets `ms` pass. Every timer that is due on the way fires at its own moment. What a callback
  /// throws passes; the time is then the moment of that callback.
  void Advance(long ms);

  /// Lets `ms` pass while the event loop does not turn; then every timer that came due meanwhile
  /// fires, late and once.
  void Stall(long ms);

  /// Starts a whole period of a timer anew.
  void Start(Alarm* alarm) const;

  /// Number of timers that run.
  int Running() const;

  /// For timers: known to the clock while they live.
  void Add(Alarm* alarm) { alarms_.push_back(alarm); }
  void Remove(Alarm* alarm);
  const std::vector<Alarm*>& Alarms() const { return alarms_; }

  /// Time 0; timers stay and rest.
  void Reset();

 private:
  Alarm* NextDue(long until_ms) const;

  long now_ms_ = 0;
  std::vector<Alarm*> alarms_;
};

}  // namespace fake
