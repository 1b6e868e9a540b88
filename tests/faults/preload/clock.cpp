// A wall clock that a test moves. What only ever goes forward stays as it is.

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <ctime>

#include "control.h"

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept {
  const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, now));
  if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
    now->tv_sec += faults::Get(faults::kClockOffset);
  }
  return result;
}

int gettimeofday(timeval* now, void* /*zone*/) noexcept {
  timespec exact = {};
  clock_gettime(CLOCK_REALTIME, &exact);
  *now = {exact.tv_sec, exact.tv_nsec / 1000};
  return 0;
}

time_t time(time_t* now) noexcept {
  timespec exact = {};
  clock_gettime(CLOCK_REALTIME, &exact);
  if (now != nullptr) *now = exact.tv_sec;
  return exact.tv_sec;
}

}  // extern "C"
