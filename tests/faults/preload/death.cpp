// Where the process died: a test tells a library's death from the daemon's own by it.

#include <array>
#include <csignal>

#include "control.h"

namespace {

constexpr std::array<int, 5> kDeadly = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

void Note(int number) {
  faults::WriteCallers(faults::kDiedAt);
  signal(number, SIG_DFL);
  raise(number);
}

__attribute__((constructor)) void Watch() {
  if (faults::Find(faults::kAllocations) == nullptr) return;
  for (const int number : kDeadly) signal(number, Note);
}

}  // namespace
