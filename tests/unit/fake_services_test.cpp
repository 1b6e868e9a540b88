// The fake device's timers, log and middleware.

#include <zlog.h>

#include <cerrno>
#include <cstdlib>

#include "device_test.h"
#include "vkos/timer.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FakeClockTest : public DeviceTest, public vkos::Callback {
 protected:
  bool Execute() override {
    fired_.push_back(device_.clock.Now());
    if (again_) timer_.Resume(0);
    return true;
  }

  std::vector<long> fired_;
  bool again_ = false;
  vkmw_sig_t signal_ = {"test"};
  vkos::Timer timer_{&signal_, 100, *this, false};
};

TEST_F(FakeClockTest, NewTimerFiresOnceAndRests) {
  device_.clock.Advance(99);
  EXPECT_THAT(fired_, IsEmpty());
  device_.clock.Advance(901);
  EXPECT_THAT(fired_, ElementsAre(100));
  EXPECT_EQ(1000, device_.clock.Now());
}

TEST_F(FakeClockTest, PausedTimerRestsAndResumeIsAWholePeriod) {
  device_.clock.Advance(60);
  timer_.Pause();
  device_.clock.Advance(100);
  timer_.Resume(0);
  device_.clock.Advance(50);
  timer_.Resume(0);
  device_.clock.Advance(1000);
  EXPECT_THAT(fired_, ElementsAre(310));
}

TEST_F(FakeClockTest, TimerThatResumesItselfFiresEachPeriod) {
  again_ = true;
  device_.clock.Advance(350);
  EXPECT_THAT(fired_, ElementsAre(100, 200, 300));
}

TEST_F(FakeClockTest, StalledLoopFiresLateAndOnce) {
  again_ = true;
  device_.clock.Stall(350);
  EXPECT_THAT(fired_, ElementsAre(350));
  device_.clock.Advance(100);
  EXPECT_THAT(fired_, ElementsAre(350, 450));
}

TEST_F(FakeClockTest, TimersFireInTheOrderTheyAreDue) {
  FakeClockTest* const other = this;
  vkos::Timer early(&signal_, 30, *other, false);
  vkos::Timer later(&signal_, 120, *other, false);
  device_.clock.Advance(200);
  EXPECT_THAT(fired_, ElementsAre(30, 100, 120));
}

TEST_F(FakeClockTest, DestroyedTimerDoesNotFire) {
  { const vkos::Timer other(&signal_, 10, *this, false); }
  device_.clock.Advance(50);
  EXPECT_THAT(fired_, IsEmpty());
}

TEST_F(FakeClockTest, ResetKeepsTimersThatRest) {
  device_.Reset();
  device_.clock.Advance(1000);
  EXPECT_THAT(fired_, IsEmpty());
  timer_.Resume(0);
  device_.clock.Advance(100);
  EXPECT_THAT(fired_, ElementsAre(1100));
}

class FakeLogTest : public DeviceTest {
 protected:
  zlog_category_s* category_ = vkmw_trace_register_category("log");
};

TEST_F(FakeLogTest, FileAndFunctionAreAsLongAsTold) {
  zlog(category_, "src/file.cpp", 8, "Function()", 8, 7, 12, "%s %hu", "text",
       static_cast<unsigned short>(3));
  ASSERT_EQ(1U, device_.log.records.size());
  EXPECT_EQ("log src/file Function 12 text 3", Line(device_.log.records[0]));
  EXPECT_EQ("%s %hu", device_.log.records[0].format);
  EXPECT_EQ(7, device_.log.records[0].line);
}

TEST_F(FakeLogTest, LevelsBelowTheThresholdAreOff) {
  device_.log.threshold = 11;
  EXPECT_EQ(0, zlog_level_enabled(category_, 10));
  EXPECT_NE(0, zlog_level_enabled(category_, 11));
  zlog(category_, "f", 1, "F", 1, 1, 10, "off");
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(FakeLogTest, KeepsErrno) {
  errno = ENOENT;
  zlog(category_, "f", 1, "F", 1, 1, 12, "text");
  EXPECT_EQ(ENOENT, errno);
}

TEST_F(FakeLogTest, CategoryIsOneForEachNameAndOutlivesAReset) {
  EXPECT_EQ(category_, vkmw_trace_register_category("log"));
  EXPECT_NE(category_, vkmw_trace_register_category("other"));
  device_.Reset();
  EXPECT_EQ(category_, vkmw_trace_register_category("log"));
}

TEST_F(FakeLogTest, FaultsAndBacktracesAreRecorded) {
  vkmw_gen_fault(1, "Function", "src/file", 7, "text");
  vkmw_print_backtrace();
  ASSERT_EQ(1U, device_.middleware.faults.size());
  EXPECT_EQ("src/file", device_.middleware.faults[0].file);
  EXPECT_EQ(1, device_.middleware.backtraces);
  device_.Reset();
  EXPECT_THAT(device_.middleware.faults, IsEmpty());
  EXPECT_EQ(0, device_.middleware.backtraces);
}

TEST_F(FakeLogTest, RecordsAreTracedWhenAsked) {
  setenv("SNMP_APP_FAKE_TRACE", "1", 1);
  ::testing::internal::CaptureStderr();
  zlog(category_, "f", 1, "F", 1, 3, 12, "text");
  EXPECT_EQ("log f:3 F 12 text\n", ::testing::internal::GetCapturedStderr());
  unsetenv("SNMP_APP_FAKE_TRACE");
}

}  // namespace
