#include <cerrno>

#include "confd_maapi.h"
#include "contract_test.h"
#include "vkmw/vkmw.h"
#include "vkos/timer.h"
#include "zlog.h"

namespace contract {
namespace {

using testing::ElementsAre;

class CountingCallback : public vkos::Callback {
 public:
  bool Execute() override {
    ++calls;
    return true;
  }
  int calls = 0;
};

constexpr vkmw_sig_t kSignal = {"contract-timer"};
constexpr long kPeriodMs = 20;
constexpr long kLimitMs = 10000;

class TimerTest : public ContractTest {
 protected:
  bool RunUntilCalls(int calls) {
    return platform_->RunUntil([this, calls] { return callback_.calls >= calls; }, kLimitMs);
  }

  CountingCallback callback_;
};

TEST_F(TimerTest, NewTimerRunsAndFiresOnce) {
  const vkos::Timer timer(&kSignal, kPeriodMs, callback_, false);
  EXPECT_TRUE(RunUntilCalls(1));
  platform_->RunFor(3 * kPeriodMs);
  EXPECT_EQ(callback_.calls, 1);
}

TEST_F(TimerTest, PausedTimerRestsUntilItIsResumed) {
  vkos::Timer timer(&kSignal, kPeriodMs, callback_, false);
  timer.Pause();
  platform_->RunFor(3 * kPeriodMs);
  EXPECT_EQ(callback_.calls, 0);
  timer.Resume(0);
  EXPECT_TRUE(RunUntilCalls(1));
  timer.Resume(0);
  EXPECT_TRUE(RunUntilCalls(2));
}

TEST_F(TimerTest, ResumedTimerFiresOnceForAllResumes) {
  vkos::Timer timer(&kSignal, kPeriodMs, callback_, false);
  timer.Resume(0);
  timer.Resume(0);
  EXPECT_TRUE(RunUntilCalls(1));
  platform_->RunFor(3 * kPeriodMs);
  EXPECT_EQ(callback_.calls, 1);
}

TEST_F(TimerTest, DestroyedTimerDoesNotFire) {
  { const vkos::Timer timer(&kSignal, kPeriodMs, callback_, false); }
  platform_->RunFor(3 * kPeriodMs);
  EXPECT_EQ(callback_.calls, 0);
}

class ProcessTest : public ContractTest {};

TEST_F(ProcessTest, RolesReachTheirCallbacks) {
  CountingCallback active;
  CountingCallback standby;
  platform_->InstallContext({&active, &standby, {nullptr, nullptr, nullptr}});
  platform_->GoActive();
  EXPECT_TRUE(platform_->RunUntil([&active] { return active.calls == 1; }, kLimitMs));
  EXPECT_EQ(standby.calls, 0);
  platform_->GoStandby();
  EXPECT_TRUE(platform_->RunUntil([&standby] { return standby.calls == 1; }, kLimitMs));
  EXPECT_EQ(active.calls, 1);
}

TEST_F(ProcessTest, MissingRoleCallbacksAreSkipped) {
  CountingCallback standby;
  platform_->InstallContext({nullptr, &standby, {nullptr, nullptr, nullptr}});
  platform_->GoActive();
  platform_->GoStandby();
  EXPECT_TRUE(platform_->RunUntil([&standby] { return standby.calls == 1; }, kLimitMs));
}

TEST_F(ProcessTest, ForcedRebindOfTheAgent) {
  Start({true, "127.0.0.1", 21611, {}, {}}, {&handler_});
  EXPECT_EQ(maapi_rebind_listener(handler_.Interface()->MaapiSocket(), CONFD_LISTENER_SNMP),
            CONFD_OK);
  EXPECT_STREQ(confd_lasterr(), "");
}

TEST_F(ProcessTest, RebindOfAnUnknownListenerFails) {
  Start({}, {&handler_});
  EXPECT_EQ(maapi_rebind_listener(handler_.Interface()->MaapiSocket(), 99), CONFD_ERR);
  EXPECT_EQ(confd_errno, CONFD_ERR_EXTERNAL);
  EXPECT_STRNE(confd_lasterr(), "");
}

TEST_F(ProcessTest, RebindOfADisabledAgentOpensNothing) {
  Start({false, "127.0.0.1", 21612, {}, {}}, {&handler_});
  EXPECT_EQ(maapi_rebind_listener(handler_.Interface()->MaapiSocket(), CONFD_LISTENER_SNMP),
            CONFD_OK);
}

TEST_F(ProcessTest, RebindNamesTheListenersThatFailed) {
  platform_->RefuseListener(21613);
  Start({true, "127.0.0.1", 21613, {}, {}}, {&handler_});
  const int socket = handler_.Interface()->MaapiSocket();
  EXPECT_EQ(maapi_rebind_listener(socket, CONFD_LISTENER_SNMP), CONFD_ERR);
  EXPECT_EQ(confd_errno, CONFD_ERR_EXTERNAL);
  EXPECT_THAT(confd_lasterr(), testing::HasSubstr("127.0.0.1:21613"));
}

TEST_F(ProcessTest, FaultsAreRaised) {
  vkmw_gen_fault(0, "Function", "src/file", 3, "text");
  EXPECT_THAT(platform_->FaultTexts(), ElementsAre("text"));
}

TEST_F(ProcessTest, LevelsAreAskedFor) {
  EXPECT_NE(zlog_level_enabled(vkmw_trace_register_category("contract"), 12), 0);
}

TEST_F(ProcessTest, CategoriesAreOnePerName) {
  EXPECT_NE(vkmw_trace_register_category("contract"), nullptr);
  EXPECT_EQ(vkmw_trace_register_category("contract"), vkmw_trace_register_category("contract"));
}

TEST_F(ProcessTest, LoggingKeepsErrno) {
  errno = EADDRNOTAVAIL;
  zlog(vkmw_trace_register_category("contract"), "src/file", 8, "Function", 8, 1, 12, "%s", "text");
  EXPECT_EQ(errno, EADDRNOTAVAIL);
}

}  // namespace
}  // namespace contract
