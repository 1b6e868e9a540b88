// The last events, by number.
#include "netconf/event_log.h"

#include <gmock/gmock.h>

#include <string>

namespace host::test {
namespace {

using ::testing::HasSubstr;

class EventLogTest : public ::testing::Test {
 protected:
  void Publish(size_t count, size_t size = 1) {
    for (size_t i = 0; i < count; ++i) log_.Publish("m", "n", std::string(size, 'x'));
  }

  host::EventLog::Clock::time_point now_ =
      host::EventLog::Clock::from_time_t(1800000000) + std::chrono::microseconds(1234567);
  static constexpr size_t kBytes = 500000;
  host::EventLog log_{[this] { return now_; }, kBytes};
};

TEST_F(EventLogTest, HasNothingAtFirst) {
  EXPECT_EQ(log_.First(), log_.End());
  EXPECT_EQ(log_.FirstReplayed(), log_.End());
  EXPECT_EQ(log_.Created(), log_.Now());
}

TEST_F(EventLogTest, KeepsWhatCameInItsOrderWithItsTime) {
  log_.Publish("m", "a", "<a/>");
  now_ -= std::chrono::hours(1);
  log_.Publish("m", "b", "<b/>");
  EXPECT_EQ(log_.At(0).xml, "<a/>");
  EXPECT_EQ(log_.At(0).module, "m");
  EXPECT_EQ(log_.At(1).name, "b");
  EXPECT_LT(log_.At(1).time, log_.At(0).time);
  EXPECT_EQ(host::EventTimeText(log_.At(0).time), "2027-01-15T08:00:01.234Z");
}

TEST_F(EventLogTest, KeepsTheLastAndAFewForSlowSubscribers) {
  Publish(host::kReplayedEvents);
  EXPECT_EQ(log_.FirstReplayed(), 0U);
  Publish(host::kEventsForSlow);
  EXPECT_EQ(log_.First(), 0U);
  EXPECT_EQ(log_.FirstReplayed(), host::kEventsForSlow);
  Publish(1);
  EXPECT_EQ(log_.First(), 1U);
  EXPECT_EQ(log_.End(), host::kReplayedEvents + host::kEventsForSlow + 1);
}

TEST_F(EventLogTest, KeepsNoMoreBytesThanItMay) {
  Publish(1000, 49000);
  EXPECT_EQ(log_.End() - log_.First(), 10U);
  EXPECT_EQ(log_.FirstReplayed(), log_.First());
}

TEST_F(EventLogTest, OneThatIsTooLongLeavesNothing) {
  Publish(3);
  Publish(1, kBytes);
  EXPECT_EQ(log_.First(), 4U);
  EXPECT_EQ(log_.End(), 4U);
}

TEST_F(EventLogTest, TellsItsObserverOfEach) {
  host::EventLog::Number told = 0;
  log_.SetObserver([&] { told = log_.End(); });
  Publish(2);
  EXPECT_EQ(told, 2U);
  log_.SetObserver([] { throw std::runtime_error("no"); });
  Publish(1);
  EXPECT_EQ(log_.End(), 3U);
}

TEST_F(EventLogTest, ANotificationHasItsTimeFirst) {
  EXPECT_THAT(host::NotificationXml(log_.Now(), "<a/>"),
              HasSubstr(":1.0\"><eventTime>2027-01-15T08:00:01.234Z</eventTime><a/></notif"));
}

}  // namespace
}  // namespace host::test
