// Requests that read, change and lock datastores.
#include <gmock/gmock.h>

#include <string>

#include "rpc_fixture.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;

const std::string kPort = Agent("<port>1161</port>");
const std::string kBad = Target("<name>t</name>");
const std::string kSet = "<test-option>set</test-option>";
const std::string kCandidate = "<candidate/>";
const std::string kRunning = "<running/>";

std::string Validate(const std::string& source) {
  return "<validate><source>" + source + "</source></validate>";
}

std::string InConfig(const std::string& content) { return "<config>" + content + "</config>"; }

TEST_F(RpcTest, AnEditOfRunningIsInForceAtOnce) {
  EXPECT_EQ(Edit(kPort).tag, "ok");
  EXPECT_EQ(Config(), kPort);
  EXPECT_EQ(Config("candidate"), kPort);
  EXPECT_THAT(host::PrintTree(Engine().Running().get()), HasSubstr("1161"));
}

TEST_F(RpcTest, AnEditThatTheModelsRefuseChangesNothing) {
  const Reply reply = Edit(kBad + kPort);
  EXPECT_EQ(reply.tag, "operation-failed");
  EXPECT_THAT(reply.message, HasSubstr("ip"));
  EXPECT_EQ(Config(), "");
}

TEST_F(RpcTest, ARefusedEditTellsThePathWithPrefixes) {
  const Reply reply = Edit(Agent(R"(<port nc:operation="delete"/>)"));
  EXPECT_EQ(reply.tag, "data-missing");
  EXPECT_EQ(reply.path, "/confd_dyncfg:confdConfig/confd_dyncfg:snmpAgent/confd_dyncfg:port");
  EXPECT_THAT(reply.xml, HasSubstr("<error-path xmlns:confd_dyncfg=\"urn:snmp-app:dyncfg\">"));
}

TEST_F(RpcTest, DefaultOperations) {
  ASSERT_EQ(Edit(Agent("<port>1161</port><enabled>true</enabled>")).tag, "ok");
  EXPECT_EQ(
      Edit(Agent("<port>1</port>"), "running", "<default-operation>none</default-operation>").tag,
      "ok");
  EXPECT_EQ(Config(), Agent("<enabled>true</enabled><port>1161</port>"));
  EXPECT_EQ(Edit(kPort, "running", "<default-operation>replace</default-operation>").tag, "ok");
  EXPECT_EQ(Config(), kPort);
}

TEST_F(RpcTest, TestOnlyChangesNothing) {
  const std::string test_only = "<test-option>test-only</test-option>";
  EXPECT_EQ(Edit(kPort, "running", test_only).tag, "ok");
  EXPECT_EQ(Edit(kBad, "candidate", test_only).tag, "operation-failed");
  EXPECT_EQ(Config(), "");
  EXPECT_EQ(Config("candidate"), "");
}

TEST_F(RpcTest, TestThenSetRefusesABadCandidate) {
  const std::string test_then_set = "<test-option>test-then-set</test-option>";
  EXPECT_EQ(Edit(kBad, "candidate", test_then_set).tag, "operation-failed");
  EXPECT_EQ(Config("candidate"), "");
  EXPECT_EQ(Edit(kPort, "candidate", test_then_set).tag, "ok");
  EXPECT_EQ(Config("candidate"), kPort);
}

TEST_F(RpcTest, CandidateIsBuiltStepByStepAndCheckedAtTheCommit) {
  EXPECT_EQ(Edit(kBad, "candidate").tag, "ok");
  EXPECT_EQ(Ask("<commit/>").tag, "operation-failed");
  EXPECT_EQ(Config(), "");
  EXPECT_EQ(Config("candidate"), kBad);
}

TEST_F(RpcTest, ErrorOptions) {
  const auto option = [](const std::string& name) {
    return "<error-option>" + name + "</error-option>";
  };
  EXPECT_EQ(Edit(kPort, "running", option("continue-on-error")).tag, "operation-not-supported");
  EXPECT_EQ(Config(), "");
  EXPECT_EQ(Edit(kPort + kBad, "running", option("rollback-on-error")).tag, "operation-failed");
  EXPECT_EQ(Edit(kPort + Agent("<ip>x</ip>"), "candidate", option("rollback-on-error")).tag,
            "invalid-value");
  EXPECT_EQ(Config() + Config("candidate"), "");
  EXPECT_EQ(Edit(kPort, "running", option("rollback-on-error")).tag, "ok");
  EXPECT_EQ(Edit(kPort, "running", option("stop-on-error")).tag, "ok");
}

TEST_F(RpcTest, ACandidateIsCommittedOrDiscarded) {
  ASSERT_EQ(Edit(kPort, "candidate").tag, "ok");
  EXPECT_EQ(Config(), "");
  EXPECT_EQ(Ask("<discard-changes/>").tag, "ok");
  EXPECT_EQ(Config("candidate"), "");
  ASSERT_EQ(Edit(kPort, "candidate").tag, "ok");
  ASSERT_EQ(Edit(Agent("<enabled>true</enabled>"), "candidate").tag, "ok");
  EXPECT_EQ(Ask("<commit/>").tag, "ok");
  EXPECT_EQ(Config(), Agent("<enabled>true</enabled><port>1161</port>"));
}

TEST_F(RpcTest, ABadCandidateIsNotCommittedAndStays) {
  ASSERT_EQ(Edit(kBad, "candidate", kSet).tag, "ok");
  EXPECT_EQ(Ask("<commit/>").tag, "operation-failed");
  EXPECT_EQ(Config(), "");
  EXPECT_EQ(Config("candidate"), kBad);
}

TEST_F(RpcTest, ValidateOfEachSource) {
  EXPECT_EQ(Ask(Validate(kRunning)).tag, "ok");
  EXPECT_EQ(Ask(Validate(InConfig(kPort))).tag, "ok");
  EXPECT_EQ(Ask(Validate(InConfig(kBad))).tag, "operation-failed");
  ASSERT_EQ(Edit(kBad, "candidate", kSet).tag, "ok");
  EXPECT_EQ(Ask(Validate(kCandidate)).tag, "operation-failed");
  EXPECT_EQ(Config(), "");
}

TEST_F(RpcTest, CopiesReplaceTheWholeTarget) {
  ASSERT_EQ(Edit(kPort).tag, "ok");
  EXPECT_EQ(Ask(Copy("running", InConfig(Agent("<enabled>true</enabled>")))).tag, "ok");
  EXPECT_EQ(Config(), Agent("<enabled>true</enabled>"));
  ASSERT_EQ(Edit(kPort, "candidate").tag, "ok");
  EXPECT_EQ(Ask(Copy("candidate", kRunning)).tag, "ok");
  EXPECT_EQ(Config("candidate"), Agent("<enabled>true</enabled>"));
  ASSERT_EQ(Edit(kPort, "candidate").tag, "ok");
  EXPECT_EQ(Ask(Copy("running", kCandidate)).tag, "ok");
  EXPECT_EQ(Config(), Agent("<enabled>true</enabled><port>1161</port>"));
}

TEST_F(RpcTest, ACopyToItselfIsRefused) {
  ASSERT_EQ(Edit(kPort, "candidate").tag, "ok");
  EXPECT_EQ(Ask(Copy("candidate", kCandidate)).tag, "invalid-value");
  EXPECT_EQ(Ask(Copy("running", kRunning)).tag, "invalid-value");
  EXPECT_EQ(Config("candidate"), kPort);
}

TEST_F(RpcTest, AddressesAreInTheOperatorsOrder) {
  const auto address = [](const std::string& index, const std::string& attributes = "") {
    return "<address" + attributes + "><index>" + index + "</index><ip>2001:db8::" + index +
           "/64</ip></address>";
  };
  const auto interface = [](const std::string& addresses) {
    return Interface("<name>eth1</name><ipv6>" + addresses + "</ipv6>");
  };
  const std::string before =
      R"( xmlns:c="urn:snmp-app:config" yang:insert="before" yang:key="[c:index='1']")";
  ASSERT_EQ(Edit(interface(address("1") + address("2"))).tag, "ok");
  EXPECT_EQ(Edit(interface(address("3", before))).tag, "ok");
  EXPECT_EQ(Config(), interface(address("3") + address("1") + address("2")));
  EXPECT_EQ(Edit(interface(address("2", R"( yang:insert="first")"))).tag, "ok");
  EXPECT_EQ(Edit(interface(address("3", R"( nc:operation="replace")"))).tag, "ok");
  EXPECT_EQ(Config(), interface(address("2") + address("3") + address("1")));
  EXPECT_THAT(host::PrintTree(Engine().Running().get()), HasSubstr("2001:db8::2/64"));
  const Reply missing =
      Edit(interface(address("1", R"( xmlns:c="urn:snmp-app:config" )"
                                  R"(yang:insert="after" yang:key="[c:index='9']")")));
  EXPECT_EQ(missing.tag, "bad-attribute");
  EXPECT_THAT(missing.xml, HasSubstr("<error-app-tag>missing-instance</error-app-tag><error-path"));
  EXPECT_EQ(Config(), interface(address("2") + address("3") + address("1")));
}

TEST_F(RpcTest, ALockKeepsOthersOut) {
  ASSERT_EQ(Ask(OnTarget("lock", "running")).tag, "ok");
  for (const host::SessionId session : {1U, 2U}) {
    const Reply denied = Ask(OnTarget("lock", "running"), session);
    EXPECT_EQ(denied.tag, "lock-denied");
    EXPECT_EQ(denied.info, "<session-id>1</session-id>");
  }
  EXPECT_EQ(Edit(kPort, "running", "", 2).tag, "in-use");
  EXPECT_EQ(Ask(Copy("running", InConfig(kPort)), 2).tag, "in-use");
  EXPECT_EQ(Ask("<commit/>", 2).tag, "in-use");
  EXPECT_EQ(Ask(OnTarget("unlock", "running"), 2).tag, "operation-failed");
  EXPECT_EQ(Config(), "");
  EXPECT_EQ(Edit(kPort).tag, "ok");
  EXPECT_EQ(Ask(OnTarget("unlock", "running")).tag, "ok");
  EXPECT_EQ(Ask(OnTarget("lock", "running"), 2).tag, "ok");
}

TEST_F(RpcTest, ALockOfTheCandidateKeepsOthersOut) {
  ASSERT_EQ(Ask(OnTarget("lock", "candidate")).tag, "ok");
  EXPECT_EQ(Edit(kPort, "candidate", "", 2).tag, "in-use");
  EXPECT_EQ(Ask("<commit/>", 2).tag, "in-use");
  EXPECT_EQ(Ask("<discard-changes/>", 2).tag, "in-use");
  EXPECT_EQ(Edit(kPort, "running", "", 2).tag, "ok");
}

TEST_F(RpcTest, ACandidateWithChangesIsNotLocked) {
  ASSERT_EQ(Edit(kPort, "candidate").tag, "ok");
  const Reply denied = Ask(OnTarget("lock", "candidate"));
  EXPECT_EQ(denied.tag, "lock-denied");
  EXPECT_EQ(denied.info, "<session-id>0</session-id>");
  EXPECT_EQ(Ask("<discard-changes/>").tag, "ok");
  EXPECT_EQ(Ask(OnTarget("lock", "candidate")).tag, "ok");
}

TEST_F(RpcTest, ChangesOfTheCandidateGoWithItsLock) {
  ASSERT_EQ(Ask(OnTarget("lock", "candidate")).tag, "ok");
  ASSERT_EQ(Edit(kPort, "candidate").tag, "ok");
  EXPECT_EQ(Ask(OnTarget("unlock", "candidate")).tag, "ok");
  EXPECT_EQ(Config("candidate"), "");
  ASSERT_EQ(Ask(OnTarget("lock", "candidate"), 2).tag, "ok");
  ASSERT_EQ(Edit(kPort, "candidate", "", 2).tag, "ok");
  Stores().EndSession(2);
  EXPECT_EQ(Config("candidate"), "");
  EXPECT_EQ(Ask(OnTarget("lock", "candidate")).tag, "ok");
}

}  // namespace
}  // namespace host::test
