// Allocations that fail: one of them, by its number. The C++ library asks for its memory here, too.

#include <cerrno>
#include <cstdlib>

#include "control.h"

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
}

namespace {

bool Fails() {
  const int64_t failing = faults::Get(faults::kFailingAllocation);
  if (failing == 0 || ++*faults::Find(faults::kAllocations) != failing) return false;
  ++*faults::Find(faults::kFailedAllocations);
  faults::WriteCallers(faults::kAllocatedAt);
  errno = ENOMEM;
  return true;
}

}  // namespace

extern "C" {

void* malloc(size_t size) noexcept { return Fails() ? nullptr : __libc_malloc(size); }

void* calloc(size_t count, size_t size) noexcept {
  return Fails() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size) noexcept {
  return Fails() ? nullptr : __libc_realloc(memory, size);
}

}  // extern "C"
