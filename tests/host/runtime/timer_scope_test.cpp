#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>

#include "runtime/process.h"
#include "vkos/timer.h"

namespace host {
namespace {

constexpr vkmw_sig_t kSignal = {"scope"};

/// Writes down what happens, in order.
class TimerScopeTest : public ::testing::Test {
 protected:
  class Callback : public vkos::Callback {
   public:
    explicit Callback(std::string& events) : events_(events) {}
    bool Execute() override {
      events_ += "fires ";
      if (throws_) throw std::runtime_error("failed");
      return true;
    }

    bool throws_ = false;

   private:
    std::string& events_;
  };

  TimerScopeTest() {
    process_.timers->scope = [this] {
      events_ += "enters ";
      return std::shared_ptr<void>(nullptr, [this](void*) { events_ += "leaves "; });
    };
  }

  void FireOnce() {
    const vkos::Timer timer(&kSignal, 1, callback_, false);
    const uint64_t before = process_.timers->facts.fired;
    process_.loop.restart();
    while (process_.timers->facts.fired == before)
      ASSERT_EQ(process_.loop.run_one_for(std::chrono::seconds(20)), 1U);
  }

  Process process_;
  std::string events_;
  Callback callback_{events_};
};

TEST_F(TimerScopeTest, LastsAsLongAsTheCallback) {
  FireOnce();
  EXPECT_EQ(events_, "enters fires leaves ");
}

TEST_F(TimerScopeTest, EndsWhenTheCallbackThrows) {
  callback_.throws_ = true;
  FireOnce();
  EXPECT_EQ(events_, "enters fires leaves ");
  ASSERT_EQ(process_.faults.size(), 1U);
  EXPECT_EQ(process_.faults.back().text, "timer scope: failed");
}

TEST_F(TimerScopeTest, NoneWhenItIsEmpty) {
  process_.timers->scope = nullptr;
  FireOnce();
  EXPECT_EQ(events_, "fires ");
}

TEST_F(TimerScopeTest, NotEnteredForATimerThatIsStopped) {
  vkos::Timer timer(&kSignal, 1, callback_, false);
  timer.Pause();
  process_.loop.restart();
  process_.loop.run_for(std::chrono::milliseconds(5));
  EXPECT_EQ(events_, "");
}

}  // namespace
}  // namespace host
