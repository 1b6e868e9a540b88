#include "runtime/log.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>

#include "vkmw/vkmw.h"

#ifndef HAVE_ZLOG

namespace host {
namespace {

void Write(int level, const char* text) {
  zlog(vkmw_trace_register_category("cat"), "src/a.cpp", 5, "Function!", 8, 17, level, "%s", text);
}

/// Each record is checked in a process of its own, since the threshold is read once per process.
void WriteAndExit(const char* threshold, int level, const char* text) {
  if (threshold == nullptr) {
    unsetenv("SNMP_APP_LOG_LEVEL");
  } else {
    setenv("SNMP_APP_LOG_LEVEL", threshold, 1);
  }
  unsetenv("INVOCATION_ID");
  Write(level, text);
  fprintf(stderr, "end\n");
  exit(0);
}

constexpr char kTime[] = "^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} ";

TEST(LogDeathTest, RecordHasTimeLevelCategoryPathLineFunctionAndText) {
  EXPECT_EXIT(WriteAndExit("detail", kDetail, "hello"), testing::ExitedWithCode(0),
              std::string(kTime) + "detail   cat \\[src/a:17 Function\\] hello\nend\n$");
}

TEST(LogDeathTest, LevelsHaveTheirNames) {
  EXPECT_EXIT(WriteAndExit(nullptr, kProgress, "x"), testing::ExitedWithCode(0), " progress cat ");
  EXPECT_EXIT(WriteAndExit(nullptr, kNotice, "x"), testing::ExitedWithCode(0), " notice   cat ");
}

TEST(LogDeathTest, ThresholdIsProgressUnlessSetOtherwise) {
  EXPECT_EXIT(WriteAndExit(nullptr, kDetail, "x"), testing::ExitedWithCode(0), "^end\n$");
  EXPECT_EXIT(WriteAndExit("notice", kProgress, "x"), testing::ExitedWithCode(0), "^end\n$");
  EXPECT_EXIT(WriteAndExit("notice", kNotice, "x"), testing::ExitedWithCode(0), " notice ");
}

TEST(LogDeathTest, UnknownThresholdIsToldAndReplaced) {
  EXPECT_EXIT(WriteAndExit("loud", kProgress, "x"), testing::ExitedWithCode(0),
              "SNMP_APP_LOG_LEVEL=loud: not detail, progress or notice; taking progress\n.*"
              "progress cat");
}

TEST(LogDeathTest, RecordIsOneLineWhateverItsText) {
  EXPECT_EXIT(WriteAndExit(nullptr, kNotice, "a\nb\033[2J\n"), testing::ExitedWithCode(0),
              "\\] a\\\\nb\\?\\[2J\nend\n$");
}

TEST(Log, KeepsErrno) {
  errno = EADDRNOTAVAIL;
  Write(kNotice, "a record");
  EXPECT_EQ(errno, EADDRNOTAVAIL);
}

TEST(Log, CategoryOfANameIsOne) {
  zlog_category_s* first = vkmw_trace_register_category("one");
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(first, vkmw_trace_register_category("one"));
  EXPECT_NE(first, vkmw_trace_register_category("two"));
}

}  // namespace
}  // namespace host

#endif  // HAVE_ZLOG
