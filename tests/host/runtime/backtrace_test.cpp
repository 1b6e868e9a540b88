#include <gtest/gtest.h>

#include <cstdlib>

#include "vkmw/vkmw.h"

__attribute__((noinline)) void FunctionThatIsSeen() {
  vkmw_print_backtrace();
  // Keeps the call above from being the last one of the function.
  asm volatile("");
}

namespace {

TEST(BacktraceDeathTest, NamesTheFunctionsOfTheStack) {
  EXPECT_EXIT(
      {
        FunctionThatIsSeen();
        exit(0);
      },
      testing::ExitedWithCode(0), "#[0-9]+ FunctionThatIsSeen\\(\\)");
}

}  // namespace
