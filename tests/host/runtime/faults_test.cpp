#include <gtest/gtest.h>

#include <string>

#include "runtime/process.h"

namespace host {
namespace {

TEST(Faults, AreKeptWithAllTheySay) {
  const Process process;
  const auto before = std::chrono::system_clock::now();
  vkmw_gen_fault(1, "Function", "src/file", 300, "what happened");
  ASSERT_FALSE(process.faults.empty());
  const Fault& fault = process.faults.back();
  EXPECT_EQ(fault.code, 1);
  EXPECT_EQ(fault.function, "Function");
  EXPECT_EQ(fault.file, "src/file");
  EXPECT_EQ(fault.line, 300);
  EXPECT_EQ(fault.text, "what happened");
  EXPECT_GE(fault.time, before);
}

TEST(Faults, OnlyTheLastAreKept) {
  const Process process;
  for (size_t i = 0; i <= kKeptFaults; ++i) {
    vkmw_gen_fault(0, "Function", "src/file", 1, std::to_string(i).c_str());
  }
  ASSERT_EQ(process.faults.size(), kKeptFaults);
  EXPECT_EQ(process.faults.front().text, "1");
  EXPECT_EQ(process.faults.back().text, std::to_string(kKeptFaults));
}

}  // namespace
}  // namespace host
