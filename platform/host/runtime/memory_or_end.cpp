#include "runtime/memory_or_end.h"

#include <new>
#include <string>

#include "runtime/faults.h"

namespace host {

namespace {

/// Of a thread; that it begins anew behind its last number does no harm.
thread_local unsigned int failures = 0;

}  // namespace

MemoryWatch::MemoryWatch() : before_(failures) { std::set_new_handler(RefuseMemory); }

bool MemoryWatch::HasFailed() const { return failures != before_; }

// Not before: whoever asks for memory may hold what the record and the process's end need.
MemoryOrEnd::~MemoryOrEnd() {
  if (!watch_.HasFailed()) return;
  HOST_LAST_FAULT(std::string("ending, to start with what is stored: there was no memory"));
}

void RefuseMemory() {
  ++failures;
  throw std::bad_alloc();
}

}  // namespace host
