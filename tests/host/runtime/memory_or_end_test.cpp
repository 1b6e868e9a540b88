// What cannot be done in part, for want of memory.
#include "runtime/memory_or_end.h"

#include <gtest/gtest.h>

#include <new>
#include <thread>

namespace host {
namespace {

/// What `new` does where there is no memory; a sanitizer's own ends the process instead.
void AskForTooMuch() {
  try {
    std::get_new_handler()();
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
      std::get_new_handler()();
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
  }).join();
  EXPECT_TRUE(thrown);
}

}  // namespace
}  // namespace host
