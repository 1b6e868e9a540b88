// The agent as a part of its process: idle time, timers, log, life and death.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <syslog.h>

#include "agent_fixture.h"
#include "process_state.h"
#include "snmp/netsnmp.h"

namespace host::test {
namespace {

using std::chrono::milliseconds;

class AgentProcessTest : public AgentTest {
 protected:
  const Endpoint a_ = {"127.0.0.1", FreePort()};
  const Endpoint b_ = {"::1", a_.port};
};

/// With more than one agent after another.
class AgentRestartTest : private LeakCheckPause, public AgentProcessTest {};

long SleepsOfThread() {
  rusage usage = {};
  ::getrusage(RUSAGE_THREAD, &usage);
  return usage.ru_nvcsw;
}

TEST_F(AgentProcessTest, NothingRunsWhileNothingHappens) {
  ASSERT_TRUE(agent_->SetListeners({a_, b_}).empty());
  ASSERT_TRUE(Ask(a_));
  ASSERT_TRUE(Ask(b_));
  EXPECT_FALSE(agent_->TimerRuns());
  loop_.restart();
  loop_.poll();
  const long sleeps = SleepsOfThread();
  EXPECT_EQ(loop_.run_for(milliseconds(500)), 0U);
  EXPECT_LE(SleepsOfThread() - sleeps, 2) << "one wait, to the end of the time";
}

TEST_F(AgentProcessTest, TimerRunsOnlyWhileTheLibraryAsksForOne) {
  ASSERT_TRUE(agent_->SetListeners({a_}).empty());
  int calls = 0;
  const timeval period = {0, 20'000};
  const unsigned alarm = snmp_alarm_register_hr(
      period, SA_REPEAT, [](unsigned, void* count) { ++*static_cast<int*>(count); }, &calls);
  ASSERT_TRUE(Ask(a_));
  EXPECT_TRUE(agent_->TimerRuns());
  EXPECT_TRUE(RunUntil([&] { return calls == 3; }));
  snmp_alarm_unregister(alarm);
  ASSERT_TRUE(Ask(a_));
  EXPECT_FALSE(agent_->TimerRuns());
  loop_.restart();
  loop_.poll();
  EXPECT_EQ(loop_.run_for(milliseconds(100)), 0U);
  EXPECT_EQ(calls, 3);
}

TEST_F(AgentProcessTest, GoesWithATimerRunning) {
  ASSERT_TRUE(agent_->SetListeners({a_}).empty());
  snmp_alarm_register(
      1, 0, [](unsigned, void*) {}, nullptr);
  ASSERT_TRUE(Ask(a_));
  ASSERT_TRUE(agent_->TimerRuns());
  agent_.reset();
  loop_.restart();
  loop_.run();
}

TEST_F(AgentProcessTest, LogGoesToTheCallbackAlone) {
  ::testing::internal::CaptureStderr();
  ::testing::internal::CaptureStdout();
  snmp_log(LOG_WARNING, "a text of the library\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  ASSERT_EQ(log_.size(), 1U);
  EXPECT_EQ(log_[0].first, LOG_WARNING);
  EXPECT_EQ(log_[0].second, "a text of the library");
}

TEST_F(AgentRestartTest, StartAndEndLogNothing) {
  ::testing::internal::CaptureStderr();
  agent_.reset();
  agent_ = std::make_unique<SnmpAgent>(
      loop_, [this](int priority, const std::string& text) { log_.emplace_back(priority, text); });
  agent_.reset();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(log_.empty()) << log_[0].second;
}

TEST_F(AgentRestartTest, LogIsNotNeeded) {
  agent_.reset();
  SnmpAgent silent(loop_);
  ::testing::internal::CaptureStderr();
  snmp_log(LOG_ERR, "nobody hears this\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(AgentRestartTest, AnotherOneMayFollow) {
  const size_t descriptors = OpenDescriptors();
  for (int i = 0; i < 5; ++i) {
    agent_.reset();
    agent_ = std::make_unique<SnmpAgent>(loop_);
    EXPECT_TRUE(agent_->Listeners().empty());
    EXPECT_EQ(OpenDescriptors(), descriptors);
    ASSERT_TRUE(agent_->SetListeners({a_, b_}).empty());
    agent_->Follow({{"other"}});
    EXPECT_TRUE(IsIgnored(a_, Encode({"public"}), "other"));
    EXPECT_TRUE(Ask(b_, {"other"}));
  }
}

TEST_F(AgentRestartTest, CountsAnew) {
  Message count = {"public", Operation::kGet, kInBadCommunityNames, 5};
  count.group = kSnmp;
  for (int i = 0; i < 2; ++i) {
    agent_.reset();
    agent_ = std::make_unique<SnmpAgent>(loop_);
    agent_->Follow({{"public"}});
    ASSERT_TRUE(agent_->SetListeners({a_}).empty());
    EXPECT_TRUE(IsIgnored(a_, Encode({"private"})));
    const auto answer = Ask(a_, count);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->value, "\x01") << i;
  }
}

TEST_F(AgentRestartTest, LeavesNoDescriptorsAndNoTimersBehind) {
  agent_.reset();
  const size_t descriptors = OpenDescriptors();
  agent_ = std::make_unique<SnmpAgent>(loop_);
  EXPECT_GT(OpenDescriptors(), descriptors);
  ASSERT_TRUE(agent_->SetListeners({a_}).empty());
  snmp_alarm_register(
      1, SA_REPEAT, [](unsigned, void*) {}, nullptr);
  agent_.reset();
  EXPECT_EQ(OpenDescriptors(), descriptors);
  agent_ = std::make_unique<SnmpAgent>(loop_);
  agent_->Follow({{"public"}});
  ASSERT_TRUE(agent_->SetListeners({a_}).empty());
  ASSERT_TRUE(Ask(a_));
  EXPECT_FALSE(agent_->TimerRuns());
}

TEST_F(AgentRestartTest, RaisesTheLimitOfDescriptorsToTheHardOne) {
  agent_.reset();
  rlimit limit = {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit low = {limit.rlim_max - 1, limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
  agent_ = std::make_unique<SnmpAgent>(loop_);
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(limit.rlim_cur, low.rlim_max);
}

using AgentProcessDeathTest = AgentProcessTest;

TEST_F(AgentProcessDeathTest, TwoAtATimeAreRefused) {
  EXPECT_DEATH(SnmpAgent(loop_, {}), "the_log == nullptr");
}

}  // namespace
}  // namespace host::test
