#include "runtime/memory_or_end.h"

#include <new>
#include <string>

#include "runtime/faults.h"

namespace host {

namespace {

/// Of a thread.
struct Watch {
  bool runs = false;
  bool has_failed = false;
};

thread_local Watch watch;

}  // namespace

MemoryOrEnd::MemoryOrEnd() : is_outermost_(!watch.runs) {
  std::set_new_handler(RefuseMemory);
  if (is_outermost_) watch = {true, false};
}

// Not before: whoever asks for memory may hold what the record and the process's end need.
MemoryOrEnd::~MemoryOrEnd() {
  if (!is_outermost_) return;
  watch.runs = false;
  if (!watch.has_failed) return;
  HOST_LAST_FAULT(std::string("ending, to start with what is stored: there was no memory"));
}

void RefuseMemory() {
  watch.has_failed = true;
  throw std::bad_alloc();
}

}  // namespace host
