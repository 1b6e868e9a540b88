#include "framework/slow_retry.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <vector>

#include "runtime/process.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

class SlowRetryTest : public ::testing::Test {
 protected:
  /// Refused so many times.
  void RefuseNext(size_t count) { refusals_ = count; }

  boost::asio::io_context loop_;
  std::vector<Clock::time_point> attempts_;
  size_t refusals_ = 0;
  std::unique_ptr<SlowRetry> retry_ = std::make_unique<SlowRetry>(
      loop_,
      [this] {
        attempts_.push_back(Clock::now());
        return attempts_.size() <= refusals_;
      },
      milliseconds(10), milliseconds(30));
};

TEST_F(SlowRetryTest, RestsUntilSomethingIsRefused) {
  retry_->Follow(false);
  EXPECT_FALSE(retry_->Runs());
  EXPECT_EQ(loop_.run(), 0U);
}

TEST_F(SlowRetryTest, TriesAtGrowingDistancesUntilNothingIsRefused) {
  RefuseNext(4);
  const auto begin = Clock::now();
  retry_->Follow(true);
  EXPECT_TRUE(retry_->Runs());
  loop_.run();
  ASSERT_EQ(attempts_.size(), 5U);
  EXPECT_GE(attempts_[0] - begin, milliseconds(10));
  EXPECT_GE(attempts_[1] - attempts_[0], milliseconds(20));
  EXPECT_GE(attempts_[2] - attempts_[1], milliseconds(30));
  EXPECT_GE(attempts_[4] - begin, milliseconds(120));
  EXPECT_FALSE(retry_->Runs());
}

TEST_F(SlowRetryTest, EndsWhenAnotherOneHasSucceeded) {
  retry_->Follow(true);
  retry_->Follow(false);
  loop_.run();
  EXPECT_TRUE(attempts_.empty());
}

TEST_F(SlowRetryTest, BeginsAnewWhenAnotherOneWasRefused) {
  retry_->Follow(true);
  retry_->Follow(true);
  loop_.run();
  EXPECT_EQ(attempts_.size(), 1U);
}

TEST_F(SlowRetryTest, AnExceptionIsAFaultAndNotTheEnd) {
  const Process process;
  int count = 0;
  SlowRetry retry(
      loop_,
      [&count]() -> bool {
        if (++count == 1) throw std::runtime_error("no session");
        return false;
      },
      milliseconds(1), milliseconds(1));
  retry.Follow(true);
  loop_.run();
  EXPECT_EQ(count, 2);
  ASSERT_FALSE(process.faults.empty());
  EXPECT_EQ(process.faults.back().text, "another attempt: no session");
}

TEST_F(SlowRetryTest, MayGoWhileItWaits) {
  retry_->Follow(true);
  retry_.reset();
  loop_.run();
  EXPECT_TRUE(attempts_.empty());
}

}  // namespace
}  // namespace host
