// What cannot be done in part, for want of memory.
#include "runtime/memory_or_end.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>
#include <thread>

namespace host {
namespace {

/// The compiler must not know that it is too much.
volatile size_t too_much = std::numeric_limits<size_t>::max() / 4;

void AskForTooMuch() {
  try {
    ::operator delete(::operator new(too_much));
  } catch (const std::bad_alloc&) {
    // As a handler does that catches everything.
  }
}

TEST(MemoryOrEnd, WithoutAScopeItIsAnException) {
  EXPECT_THROW(RefuseMemory(), std::bad_alloc);
  { const MemoryOrEnd all; }
  EXPECT_THROW(RefuseMemory(), std::bad_alloc);
  AskForTooMuch();
  { const MemoryOrEnd all; }
}

TEST(MemoryWatch, NoticesWhatHasFailedSince) {
  const MemoryWatch before;
  EXPECT_FALSE(before.HasFailed());
  AskForTooMuch();
  const MemoryWatch behind;
  EXPECT_TRUE(before.HasFailed());
  EXPECT_FALSE(behind.HasFailed());
}

TEST(MemoryOrEndDeathTest, WithinAScopeItEndsTheProcessWhoeverCatches) {
  const auto within = [] {
    const MemoryOrEnd all;
    { const MemoryOrEnd nested; }
    AskForTooMuch();
  };
  EXPECT_EXIT(within(), ::testing::ExitedWithCode(1), "there was no memory");
  const auto by_a_library = [] {
    const MemoryOrEnd all;
    EXPECT_THROW(RefuseMemory(), std::bad_alloc);
  };
  EXPECT_EXIT(by_a_library(), ::testing::ExitedWithCode(1), "there was no memory");
}

TEST(MemoryOrEnd, OtherThreadsGetTheException) {
  const MemoryOrEnd all;
  bool thrown = false;
  std::thread([&thrown] {
    try {
      ::operator delete(::operator new(too_much));
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
  }).join();
  EXPECT_TRUE(thrown);
}

}  // namespace
}  // namespace host
