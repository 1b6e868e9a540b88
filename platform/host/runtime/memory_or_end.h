// What cannot be done in part, for want of memory.
#pragma once

namespace host {

/// When an allocation by `new` on this thread fails while it lives, whoever catches std::bad_alloc,
/// it ends the process at its own end, with a fault and status 1: another start does all of it. Of
/// scopes within each other the outermost does.
class MemoryOrEnd {
 public:
  MemoryOrEnd();
  ~MemoryOrEnd();

  MemoryOrEnd(const MemoryOrEnd&) = delete;
  MemoryOrEnd& operator=(const MemoryOrEnd&) = delete;

 private:
  bool is_outermost_;
};

/// What `new` does without memory, for who is refused it by a library: throws std::bad_alloc, and
/// lets MemoryOrEnd know.
[[noreturn]] void RefuseMemory();

}  // namespace host
