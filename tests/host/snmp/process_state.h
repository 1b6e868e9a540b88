// What the test's own process holds.
#pragma once

#include <cstddef>

namespace host::test {

/// Number of descriptors that are open.
size_t OpenDescriptors();

/// Bytes of the heap that are in use.
size_t HeapInUse();

/// Between the two, a leak-checking sanitizer passes over what is allocated.
void PauseLeakCheck();
void ResumeLeakCheck();

/// A pause of the leak check, for tests that bring the agent up more than once: each time its
/// library loses some memory of its own.
class LeakCheckPause {
 public:
  LeakCheckPause() { PauseLeakCheck(); }
  ~LeakCheckPause() { ResumeLeakCheck(); }
  LeakCheckPause(const LeakCheckPause&) = delete;
  LeakCheckPause& operator=(const LeakCheckPause&) = delete;
};

}  // namespace host::test
