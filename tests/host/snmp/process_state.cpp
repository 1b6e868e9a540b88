#include "process_state.h"

#include <malloc.h>

#include <filesystem>
#include <iterator>

#ifdef __SANITIZE_ADDRESS__
// The sanitizer's own calls; their headers are not everywhere where the sanitizer is.
extern "C" {
size_t __sanitizer_get_current_allocated_bytes();
void __lsan_disable();
void __lsan_enable();
}
#endif

namespace host::test {

size_t OpenDescriptors() {
  const auto entries = std::filesystem::directory_iterator("/proc/self/fd");
  // One of them is the iterator's own.
  return static_cast<size_t>(std::distance(begin(entries), end(entries))) - 1;
}

#ifdef __SANITIZE_ADDRESS__

size_t HeapInUse() { return __sanitizer_get_current_allocated_bytes(); }
void PauseLeakCheck() { __lsan_disable(); }
void ResumeLeakCheck() { __lsan_enable(); }

#else

size_t HeapInUse() {
  const auto state = ::mallinfo2();
  return state.uordblks + state.hblkhd;
}
void PauseLeakCheck() {}
void ResumeLeakCheck() {}

#endif

}  // namespace host::test
