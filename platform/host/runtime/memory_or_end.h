// What cannot be done in part, for want of memory.
#pragma once

namespace host {

/// Notices allocations by `new` on this thread that fail, whoever catches std::bad_alloc.
class MemoryWatch {
 public:
  MemoryWatch();

  /// Whether one has failed since the object was made.
  bool HasFailed() const;

 private:
  unsigned int before_;
};

/// Ends the process at its own end, with a fault and status 1, when an allocation has failed while
/// it lived: another start does all of it.
class MemoryOrEnd {
 public:
  MemoryOrEnd() = default;
  ~MemoryOrEnd();

  MemoryOrEnd(const MemoryOrEnd&) = delete;
  MemoryOrEnd& operator=(const MemoryOrEnd&) = delete;

 private:
  MemoryWatch watch_;
};

/// What `new` does without memory, for who is refused it by a library: throws std::bad_alloc, and
/// lets those know.
[[noreturn]] void RefuseMemory();

}  // namespace host
