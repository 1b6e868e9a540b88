// Several processes in one: which one a call of platform/api is about, and what ends with it.
#include "runtime/process.h"

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "vkos/context.h"
#include "vkos/timer.h"

namespace host {
namespace {

constexpr vkmw_sig_t kSignal = {"process-test"};
constexpr vkos::Context::HaStateChangeCallbacks kNoCallbacks = {};
constexpr vkmw_process_signature_t kSignature = {"process-test"};

class CountingCallback : public vkos::Callback {
 public:
  bool Execute() override {
    process = &ThisProcess();
    return ++calls > 0;
  }
  int calls = 0;
  const Process* process = nullptr;
};

void RaiseFault(const char* text) { vkmw_gen_fault(0, "Function", "src/file", 1, text); }

/// False when `condition` does not hold within 20 s.
bool RunUntil(boost::asio::io_context& loop, const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition() && std::chrono::steady_clock::now() < deadline) {
    loop.run_one_until(deadline);
  }
  return condition();
}

TEST(ThisProcess, IsTheNewestThatLives) {
  std::optional<Process> first(std::in_place);
  EXPECT_EQ(&ThisProcess(), &*first);
  std::optional<Process> second(std::in_place);
  std::optional<Process> third(std::in_place);
  EXPECT_EQ(&ThisProcess(), &*third);
  second.reset();
  EXPECT_EQ(&ThisProcess(), &*third);
  third.reset();
  EXPECT_EQ(&ThisProcess(), &*first);
}

TEST(ThisProcess, IsThatOfTheInnermostScope) {
  Process first;
  Process second;
  {
    const ProcessScope scope(first);
    EXPECT_EQ(&ThisProcess(), &first);
    {
      const ProcessScope inner(second);
      EXPECT_EQ(&ThisProcess(), &second);
    }
    EXPECT_EQ(&ThisProcess(), &first);
  }
  EXPECT_EQ(&ThisProcess(), &second);
}

TEST(ThisProcess, IsNobodysWithoutAny) {
  Process& nobodys = ThisProcess();
  RaiseFault("before");
  EXPECT_EQ(nobodys.faults.back().text, "before");
  const Process process;
  EXPECT_EQ(&ThisProcess(), &process);
  EXPECT_TRUE(process.faults.empty());
}

TEST(Processes, HaveFaultsOfTheirOwn) {
  Process first;
  const Process second;
  RaiseFault("of the second");
  const ProcessScope scope(first);
  RaiseFault("of the first");
  ASSERT_EQ(first.faults.size(), 1U);
  EXPECT_EQ(first.faults[0].text, "of the first");
  ASSERT_EQ(second.faults.size(), 1U);
  EXPECT_EQ(second.faults[0].text, "of the second");
}

TEST(Processes, HaveTimersOfTheirOwn) {
  const Process first;
  CountingCallback callback;
  const vkos::Timer timer(&kSignal, 1, callback, false);
  const Process second;
  EXPECT_EQ(first.timers->facts.running, 1);
  EXPECT_EQ(second.timers->facts.running, 0);
  EXPECT_EQ(second.loop.run_for(std::chrono::milliseconds(5)), 0U);
  EXPECT_TRUE(RunUntil(first.loop, [&] { return callback.calls > 0; }));
  EXPECT_EQ(callback.calls, 1);
  EXPECT_EQ(first.timers->facts.running, 0);
  EXPECT_EQ(first.timers->facts.fired, 1U);
}

TEST(Processes, TimerThatOutlivesItsOwnRests) {
  CountingCallback callback;
  auto process = std::make_unique<Process>();
  vkos::Timer timer(&kSignal, 1, callback, false);
  vkos::Timer other(&kSignal, 1, callback, false);
  process->loop.run_one();  // One has its wait in the loop, the other its start.
  process.reset();
  timer.Resume(0);
  other.Pause();
  EXPECT_EQ(callback.calls, 0);
}

TEST(Processes, TimerWithoutAnyDoesNoHarm) {
  CountingCallback callback;
  vkos::Timer timer(&kSignal, 1, callback, false);
  timer.Pause();
  EXPECT_EQ(ThisProcess().timers->facts.running, 0);
}

class ContextTest : public testing::Test {
 protected:
  using Contexts = std::unique_ptr<vkos::Context>;
  static Contexts Make() { return std::make_unique<vkos::Context>(&kSignature, &kNoCallbacks); }
};

TEST_F(ContextTest, RunsItsLoopInItsName) {
  const Contexts first = Make();
  const Contexts second = Make();
  Process& process = first->GetVkmw()->process;
  CountingCallback callback;
  boost::asio::post(process.loop, [&] {
    callback.Execute();
    process.loop.stop();
  });
  first->GetServer().Run();
  EXPECT_EQ(callback.process, &process);
  EXPECT_EQ(&ThisProcess(), &second->GetVkmw()->process);
}

TEST_F(ContextTest, SignalsReachEachAndItsRoleAndReloadAreItsOwn) {
  const Contexts first = Make();
  const Contexts second = Make();
  Process& one = first->GetVkmw()->process;
  Process& other = second->GetVkmw()->process;
  int reloads = 0;
  one.reload = [&] {
    EXPECT_EQ(&ThisProcess(), &one);
    ++reloads;
  };
  raise(SIGUSR1);
  EXPECT_TRUE(RunUntil(one.loop, [&] { return one.role != HaRole::kUnknown; }));
  EXPECT_EQ(one.role, HaRole::kActive);
  EXPECT_EQ(other.role, HaRole::kUnknown) << "its loop has not run";
  raise(SIGHUP);
  EXPECT_TRUE(RunUntil(one.loop, [&] { return reloads > 0; }));
  EXPECT_EQ(reloads, 1);
}

class ThrowingOnce : public vkos::Callback {
 public:
  bool Execute() override {
    if (++calls == 1) throw std::runtime_error("no role");
    return true;
  }
  int calls = 0;
};

TEST_F(ContextTest, CallbackOfASignalThatThrowsIsAFaultAndTheNextSignalIsTaken) {
  ThrowingOnce go_active;
  const vkos::Context::HaStateChangeCallbacks callbacks = {&go_active, nullptr, {}};
  vkos::Context context(&kSignature, &callbacks);
  Process& process = context.GetVkmw()->process;
  raise(SIGUSR1);
  EXPECT_TRUE(RunUntil(process.loop, [&] { return go_active.calls == 1; }));
  ASSERT_EQ(process.faults.size(), 1U);
  EXPECT_EQ(process.faults.back().text, "signal " + std::to_string(SIGUSR1) + ": no role");
  raise(SIGUSR1);
  EXPECT_TRUE(RunUntil(process.loop, [&] { return go_active.calls == 2; }));
}

TEST_F(ContextTest, AnotherOneTakesOver) {
  Contexts context = Make();
  RaiseFault("of the first");
  const Process* const before = &ThisProcess();
  context = Make();
  EXPECT_NE(&ThisProcess(), before);
  EXPECT_EQ(&ThisProcess(), &context->GetVkmw()->process);
  EXPECT_TRUE(ThisProcess().faults.empty());
}

}  // namespace
}  // namespace host
