#include "runtime/waiting.h"

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "runtime/process.h"

namespace host {
namespace {

using std::chrono::milliseconds;

class WaitingTest : public ::testing::Test {
 protected:
  std::string LastFault() const {
    return process_.faults.empty() ? "" : process_.faults.back().text;
  }

  Process process_;
  boost::asio::io_context loop_;
  int calls_ = 0;
};

TEST_F(WaitingTest, ExceptionBecomesAFaultAndTheLoopGoesOn) {
  Waiting waiting("wait");
  boost::asio::post(loop_, waiting.Begin([] { throw std::runtime_error("no session"); }));
  boost::asio::post(loop_, [this] { ++calls_; });
  EXPECT_NO_THROW(loop_.run());
  EXPECT_EQ(calls_, 1);
  EXPECT_EQ(LastFault(), "wait: no session");
}

TEST_F(WaitingTest, ExceptionIsToldToWhomItIsFor) {
  std::string told;
  Waiting waiting("wait", [&told](const std::string& text) { told = text; });
  boost::asio::post(loop_, waiting.Begin([] { throw 5; }));
  loop_.run();
  EXPECT_EQ(told, "wait: unknown exception");
  EXPECT_EQ(LastFault(), "");
}

TEST_F(WaitingTest, ExceptionThatIsForNobodyLeavesTheLoop) {
  Waiting waiting("wait", nullptr);
  boost::asio::post(loop_, waiting.Begin([] { throw std::runtime_error("out"); }));
  EXPECT_THROW(loop_.run(), std::runtime_error);
}

TEST_F(WaitingTest, NewWaitTakesThePlaceOfTheOld) {
  Waiting waiting("wait");
  boost::asio::post(loop_, waiting.Begin([this] { calls_ += 1; }));
  boost::asio::post(loop_, waiting.Begin([this] { calls_ += 10; }));
  loop_.run();
  EXPECT_EQ(calls_, 10);
}

TEST_F(WaitingTest, EndedWaitIsNotCalled) {
  Waiting waiting("wait");
  boost::asio::post(loop_, waiting.Begin([this] { ++calls_; }));
  waiting.End();
  loop_.run();
  EXPECT_EQ(calls_, 0);
}

TEST_F(WaitingTest, ObjectMayBeGoneBeforeTheCallAndInIt) {
  auto waiting = std::make_unique<Waiting>("wait");
  boost::asio::post(loop_, waiting->Begin([this] { ++calls_; }));
  waiting = std::make_unique<Waiting>("wait");
  boost::asio::post(loop_, waiting->Begin([&] {
    waiting.reset();
    throw std::runtime_error("gone");
  }));
  loop_.run();
  EXPECT_EQ(calls_, 0);
  EXPECT_EQ(LastFault(), "wait: gone");
}

class AlarmTest : public WaitingTest {
 protected:
  void After(milliseconds time, int value) {
    alarm_->After(time, [this, value] { calls_ += value; });
  }

  std::optional<Alarm> alarm_{std::in_place, loop_.get_executor(), "alarm"};
};

TEST_F(AlarmTest, CallsOnceWhenTheTimeIsOver) {
  const auto begin = Alarm::Clock::now();
  After(milliseconds(10), 1);
  EXPECT_EQ(loop_.run(), 1U);
  EXPECT_GE(Alarm::Clock::now() - begin, milliseconds(10));
  EXPECT_EQ(calls_, 1);
}

TEST_F(AlarmTest, ExceptionBecomesAFaultAndMayBeFollowedByAnother) {
  alarm_->After(milliseconds(1), [this] {
    After(milliseconds(1), 1);
    throw std::runtime_error("late");
  });
  EXPECT_NO_THROW(loop_.run());
  EXPECT_EQ(calls_, 1);
  EXPECT_EQ(LastFault(), "alarm: late");
}

TEST_F(AlarmTest, NewTimeTakesThePlaceOfTheOldThatIsDueAlready) {
  After(milliseconds(0), 1);
  boost::asio::post(loop_, [this] { After(milliseconds(1), 10); });
  loop_.run();
  EXPECT_EQ(calls_, 10);
}

/// Both are in the loop's queue when the first one is called.
TEST_F(AlarmTest, StoppedOrGoneItIsNotCalledThoughItIsQueued) {
  for (const bool is_gone : {false, true}) {
    Alarm first(loop_.get_executor(), "first");
    first.At(Alarm::Clock::time_point(), [this, is_gone] {
      if (is_gone) {
        alarm_.reset();
      } else {
        alarm_->Stop();
      }
    });
    alarm_->At(Alarm::Clock::time_point() + milliseconds(1), [this] { ++calls_; });
    loop_.restart();
    loop_.run();
    EXPECT_EQ(calls_, 0) << is_gone;
  }
}

TEST(RunEvent, TellsWhetherItWentWell) {
  const Process process;
  EXPECT_TRUE(RunEvent("event", [] {}));
  EXPECT_FALSE(RunEvent("event", [] { throw 5; }));
}

/// Where memory is short, a copy of it would be what fails, and outside of the guard.
TEST(RunEvent, TheEventIsNotCopied) {
  struct Event {
    Event() = default;
    Event(const Event&) = delete;
    void operator()() const { throw std::runtime_error("called"); }
  };
  EXPECT_THROW(RunEvent("event", Event(), nullptr), std::runtime_error);
}

TEST(RunEvent, WhatTheOneWhoIsToldThrowsIsLost) {
  const auto fails = [] { throw std::runtime_error("event"); };
  EXPECT_NO_THROW(RunEvent("event", fails, [](const std::string&) { throw 5; }));
}

TEST(RunEvent, MayEndTheProcess) {
  EXPECT_EXIT(RunEvent(
                  "event", [] { throw std::runtime_error("no way"); }, EndWithFault),
              ::testing::ExitedWithCode(1), " fault .*event: no way");
}

}  // namespace
}  // namespace host
