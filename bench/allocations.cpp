#include "allocations.h"

#include <cstdlib>
#include <new>

namespace {

size_t count = 0;

}  // namespace

size_t Allocations() { return count; }

void* operator new(size_t size) {
  ++count;
  void* memory = malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { free(memory); }
void operator delete(void* memory, size_t /*size*/) noexcept { free(memory); }
