// The forced rebind and the retry every five seconds, in virtual time.

#include <stdexcept>

#include "agent_test.h"
#include "confd/error.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kLoading[] = "log LoadInitialConfig: Loading";
constexpr char kRetryRecord[] = "Starting timer for new bind retry.";

class BindRetryTest : public AgentTest {
 protected:
  /// An agent whose address is not there yet, with its retry pending since time 0.
  void StartFailing() {
    Configure(true, agent::kAbsentAddress, agent::kPortNumber, {});
    Load();
    handler_.ApplyInitialConfig();
    ASSERT_EQ(1, device_.clock.Running());
    ForgetRecords();
  }

  /// The address of the configuration appears on the device.
  void MakeBindable() { device_.confd.running.Set(agent::kIp, common::MakeBuf("127.0.0.1")); }

  /// Expects one attempt after `ms`, not before, and forgets the records.
  void ExpectNextAttemptAfter(long ms) {
    device_.clock.Advance(ms - 1);
    EXPECT_EQ(0U, Attempts());
    device_.clock.Advance(1);
    EXPECT_EQ(1U, Attempts());
    ForgetRecords();
  }

  size_t Attempts() const { return device_.Events(kLoading).size(); }
};

std::string Applied(const std::string& text) { return agent::Line("ApplyCommitConfig", 11, text); }

TEST_F(BindRetryTest, DisabledAgentWithSuccessfulProbesDoesNothing) {
  Configure(false, "127.0.0.1", agent::kPortNumber, {});
  Load();
  ForgetRecords();
  handler_.ApplyCommitConfig();
  EXPECT_THAT(device_.journal, IsEmpty());
}

TEST_F(BindRetryTest, DisabledAgentWithFailedProbesDoesNothing) {
  Configure(false, agent::kAbsentAddress, agent::kPortNumber, {"192.0.2.1:10161"});
  Load();
  ForgetRecords();
  handler_.ApplyCommitConfig();
  EXPECT_THAT(device_.journal, IsEmpty());
  EXPECT_EQ(0, device_.clock.Running());
}

TEST_F(BindRetryTest, SuccessfulProbesForceARebindOfTheSnmpListener) {
  Configure(true, "127.0.0.1", agent::kPortNumber, {"127.0.0.1:10162"});
  Load();
  ForgetRecords();
  handler_.ApplyInitialConfig();
  EXPECT_THAT(LogLines(), ElementsAre(Applied("Forced ConfD's bind of SNMP, returned 0: ")));
  ASSERT_EQ(1U, device_.confd.rebinds.size());
  EXPECT_EQ(fake::ConfdInterface::kMaapiSocket, device_.confd.rebinds[0].socket);
  EXPECT_EQ(4, device_.confd.rebinds[0].listener);
  EXPECT_THAT(device_.Events("timer"), IsEmpty());
}

TEST_F(BindRetryTest, FailedRebindIsLoggedAndStartsNoRetry) {
  Configure(true, "127.0.0.1", agent::kPortNumber, {});
  Load();
  ForgetRecords();
  device_.confd.RefuseNext("maapi_rebind_listener", CONFD_ERR_EXTERNAL, "no socket");
  handler_.ApplyCommitConfig();
  EXPECT_THAT(LogLines(),
              ElementsAre(Applied("Forced ConfD's bind of SNMP, returned -1: no socket")));
  EXPECT_THAT(device_.middleware.faults, IsEmpty());
  EXPECT_EQ(0, device_.clock.Running());
  ForgetRecords();
  handler_.ApplyCommitConfig();
  EXPECT_THAT(device_.confd.rebinds, IsEmpty()) << "it has had its rebind, if a failed one";
}

TEST_F(BindRetryTest, SuccessfulRebindIsLoggedWithTheEmptyErrorItLeaves) {
  Configure(true, "127.0.0.1", agent::kPortNumber, {});
  Load();
  ForgetRecords();
  common::Fail(CONFD_ERR_NOEXISTS, "an earlier one");
  handler_.ApplyCommitConfig();
  EXPECT_THAT(LogLines(), ElementsAre(Applied("Forced ConfD's bind of SNMP, returned 0: ")));
}

TEST_F(BindRetryTest, RebindIsForcedOnceForEachSetOfProbes) {
  StartBound();
  handler_.ApplyCommitConfig();
  EXPECT_THAT(device_.confd.rebinds, IsEmpty());
  EXPECT_THAT(LogLines(), ElementsAre(Applied(kRetryRecord)));
}

TEST_F(BindRetryTest, FailedProbeStartsTheTimer) {
  Configure(true, agent::kAbsentAddress, agent::kPortNumber, {});
  Load();
  ForgetRecords();
  handler_.ApplyInitialConfig();
  EXPECT_THAT(device_.journal,
              ElementsAre(std::string("log ApplyCommitConfig: ") + kRetryRecord, "timer resume 0"));
  EXPECT_THAT(LogLines(), ElementsAre(Applied(kRetryRecord)));
  EXPECT_EQ(1, device_.clock.Running());
}

TEST_F(BindRetryTest, CommitWhileARetryIsPendingStartsNoSecondTimer) {
  StartFailing();
  device_.clock.Advance(3000);
  handler_.StartCommit();
  ChangeLeaf("port", common::MakeUint16(10163));
  ForgetRecords();
  handler_.ApplyCommitConfig();
  EXPECT_THAT(device_.journal, IsEmpty());
  ExpectNextAttemptAfter(2000);
}

TEST_F(BindRetryTest, RebindWhileARetryIsPendingLeavesTheTimer) {
  StartFailing();
  MakeBindable();
  Load();
  handler_.ApplyCommitConfig();
  EXPECT_EQ(1U, device_.confd.rebinds.size());
  EXPECT_THAT(device_.Events("timer"), IsEmpty());
  EXPECT_EQ(1, device_.clock.Running());
}

TEST_F(BindRetryTest, ExtraEntryThatCannotBeBoundBlocksTheRebind) {
  Configure(true, "127.0.0.1", agent::kPortNumber, {"127.0.0.1:10162", "192.0.2.1:10162"});
  Load();
  handler_.ApplyCommitConfig();
  EXPECT_THAT(device_.confd.rebinds, IsEmpty());
  EXPECT_EQ(1, device_.clock.Running());
}

TEST_F(BindRetryTest, FailingRetryReloadsInASessionOfItsOwnAndStartsTheTimerAgain) {
  StartFailing();
  device_.clock.Advance(5000);
  EXPECT_EQ("session open 1", device_.journal.front());
  EXPECT_EQ("log LoadInitialConfig: Loading SNMP agent configuration", device_.journal[1]);
  EXPECT_EQ("session close", device_.journal.back());
  EXPECT_THAT(device_.Events("log BindAgent: Failed"),
              ElementsAre("log BindAgent: Failed to bind to 192.0.2.1:10161 : "
                          "Cannot assign requested address"));
  EXPECT_THAT(device_.Events("log Apply"),
              ElementsAre(std::string("log ApplyCommitConfig: ") + kRetryRecord));
  EXPECT_EQ("timer resume 0", device_.journal[device_.journal.size() - 2]);
  EXPECT_EQ(1, device_.clock.Running());
}

TEST_F(BindRetryTest, EachFailureAsksForOneFurtherAttemptAfterFiveSeconds) {
  StartFailing();
  for (int attempt = 0; attempt < 10; ++attempt) ExpectNextAttemptAfter(5000);
}

TEST_F(BindRetryTest, LateTickIsOneAttemptAndTheNextOneIsFiveSecondsLater) {
  StartFailing();
  device_.clock.Stall(23000);
  EXPECT_EQ(1U, Attempts());
  ForgetRecords();
  ExpectNextAttemptAfter(5000);
}

TEST_F(BindRetryTest, SuccessLeadsToExactlyOneRebind) {
  StartFailing();
  device_.clock.Advance(10000);
  MakeBindable();
  ForgetRecords();
  device_.clock.Advance(60000);
  EXPECT_EQ(1U, Attempts());
  EXPECT_EQ(1U, device_.confd.rebinds.size());
  EXPECT_EQ(0, device_.clock.Running());
  ASSERT_LE(3U, device_.journal.size());
  EXPECT_THAT(std::vector<std::string>(device_.journal.end() - 3, device_.journal.end()),
              ElementsAre("maapi_rebind_listener 4",
                          "log ApplyCommitConfig: Forced ConfD's bind of SNMP, returned 0: ",
                          "session close"));
}

TEST_F(BindRetryTest, RetryCanBeStartedAgainAfterASuccess) {
  StartFailing();
  MakeBindable();
  device_.clock.Advance(5000);
  ForgetRecords();
  ChangeLeaf("ip", common::MakeBuf("127.0.0.1"));
  handler_.ApplyCommitConfig();
  EXPECT_THAT(device_.Events("timer"), ElementsAre("timer resume 0"));
  device_.clock.Advance(5000);
  EXPECT_EQ(1U, device_.confd.rebinds.size());
}

TEST_F(BindRetryTest, AgentThatWasDisabledMeanwhileEndsTheRetry) {
  StartFailing();
  device_.confd.running.Set(agent::kEnabled, common::MakeBool(false));
  device_.clock.Advance(60000);
  EXPECT_EQ(1U, Attempts());
  EXPECT_THAT(device_.confd.rebinds, IsEmpty());
  EXPECT_EQ(0, device_.clock.Running());
}

TEST_F(BindRetryTest, ExecuteIsASuccessEvenWhenTheProbesFail) {
  Configure(true, agent::kAbsentAddress, agent::kPortNumber, {});
  SnmpAgentCfgHandler::RetryBind retry(&handler_);
  EXPECT_TRUE(retry.Execute());
  MakeBindable();
  EXPECT_TRUE(retry.Execute());
}

TEST_F(BindRetryTest, SessionIsClosedWhenAnExceptionPasses) {
  StartFailing();
  device_.confd.running.Set(agent::kExtra, agent::List({"127.0.0.1:999999999999999999999999"}));
  EXPECT_THROW(device_.clock.Advance(5000), std::out_of_range);
  EXPECT_EQ("session close", device_.journal.back());
  EXPECT_EQ(device_.confd.opened_sessions, device_.confd.closed_sessions);
  handler_.ApplyCommitConfig();
  EXPECT_EQ(1, device_.clock.Running()) << "the flag of the pending retry was not cleared";
}

TEST_F(BindRetryTest, SessionThatCannotBeOpenedThrowsAndTheNextCommitStartsTheRetry) {
  StartFailing();
  device_.confd.RefuseNext("session open", CONFD_ERR_EXTERNAL, "ConfD is gone");
  try {
    device_.clock.Advance(5000);
    FAIL() << "no exception";
  } catch (const std::runtime_error& exception) {
    EXPECT_STREQ("ConfD is gone", exception.what());
  }
  EXPECT_THAT(device_.journal, ElementsAre("session open 1"));
  handler_.ApplyCommitConfig();
  EXPECT_EQ(1, device_.clock.Running());
}

}  // namespace
