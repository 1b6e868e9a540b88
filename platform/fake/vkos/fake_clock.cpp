#include "vkos/fake_clock.h"

#include <algorithm>

namespace fake {

namespace {

void Fire(Alarm* alarm) {
  alarm->running = false;
  alarm->callback->Execute();
}

}  // namespace

void Clock::Start(Alarm* alarm) const {
  alarm->running = true;
  alarm->due_ms = now_ms_ + alarm->period_ms;
}

void Clock::Remove(Alarm* alarm) {
  alarms_.erase(std::remove(alarms_.begin(), alarms_.end(), alarm), alarms_.end());
}

int Clock::Running() const {
  return static_cast<int>(std::count_if(alarms_.begin(), alarms_.end(),
                                        [](const Alarm* alarm) { return alarm->running; }));
}

/// The running timer that is due first, not after `until_ms`; null when there is none.
Alarm* Clock::NextDue(long until_ms) const {
  Alarm* next = nullptr;
  for (Alarm* alarm : alarms_) {
    const bool due = alarm->running && alarm->due_ms <= until_ms;
    if (due && (next == nullptr || alarm->due_ms < next->due_ms)) next = alarm;
  }
  return next;
}

void Clock::Advance(long ms) {
  const long end_ms = now_ms_ + ms;
  while (Alarm* alarm = NextDue(end_ms)) {
    now_ms_ = alarm->due_ms;
    Fire(alarm);
  }
  now_ms_ = end_ms;
}

void Clock::Stall(long ms) {
  now_ms_ += ms;
  // A timer that is resumed by its callback is due a period from now, so this ends.
  while (Alarm* alarm = NextDue(now_ms_)) Fire(alarm);
}

void Clock::Reset() {
  now_ms_ = 0;
  for (Alarm* alarm : alarms_) alarm->running = false;
}

}  // namespace fake
