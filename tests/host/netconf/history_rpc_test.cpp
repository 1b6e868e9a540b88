// The way back to a configuration that was in force.
#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include "rpc_fixture.h"

namespace host::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

std::string RollBack(const std::string& number, const std::string& target = "") {
  const std::string where = target.empty() ? "" : "<target>" + target + "</target>";
  return R"(<rollback xmlns="urn:snmp-app:history"><number>)" + number + "</number>" + where +
         "</rollback>";
}

class RollBackTest : public RpcTest {
 protected:
  /// Configurations 1, 2 and 3 have the ports 1161, 1162 and 1163.
  void SetUp() override {
    RpcTest::SetUp();
    if (IsSkipped()) return;
    for (const char* port : {"1161", "1162", "1163"}) ASSERT_EQ(Edit(AgentPort(port)).tag, "ok");
  }

  static std::string AgentPort(const std::string& port) {
    return Agent("<port>" + port + "</port>");
  }

  void ExpectNothingChanged() {
    EXPECT_EQ(Config(), AgentPort("1163"));
    EXPECT_EQ(History().Entries().size(), 3U);
  }
};

TEST_F(RollBackTest, IsACommitOfItsOwn) {
  EXPECT_EQ(Ask(RollBack("1")).tag, "ok");
  EXPECT_EQ(Config(), AgentPort("1161"));
  const host::KeptConfiguration& last = History().Entries().back();
  EXPECT_EQ(last.number, 4U);
  EXPECT_EQ(last.author.user, "tester");
  EXPECT_EQ(last.author.operation, "rollback to 1");
  EXPECT_EQ(last.changes, "set /confdConfig/snmpAgent/port");
  EXPECT_EQ(Ask(RollBack("3")).tag, "ok");
  EXPECT_EQ(Config(), AgentPort("1163"));
}

TEST_F(RollBackTest, ToWhatIsInForceChangesNothing) {
  EXPECT_EQ(Ask(RollBack("3")).tag, "ok");
  ExpectNothingChanged();
}

TEST_F(RollBackTest, ToTheCandidateChangesThatOnly) {
  EXPECT_EQ(Ask(RollBack("1", "candidate")).tag, "ok");
  EXPECT_EQ(Config("candidate"), AgentPort("1161"));
  ExpectNothingChanged();
  EXPECT_EQ(Ask("<commit><confirmed/></commit>").tag, "ok");
  EXPECT_EQ(Config(), AgentPort("1161"));
  EXPECT_EQ(Ask("<cancel-commit/>").tag, "ok");
  EXPECT_EQ(Config(), AgentPort("1163"));
}

TEST_F(RollBackTest, ToNoSuchNumberIsRefused) {
  for (const char* number : {"0", "4", "4294967295"}) {
    const Reply reply = Ask(RollBack(number));
    EXPECT_EQ(reply.tag, "invalid-value");
    EXPECT_EQ(reply.path, "/snmp-app-history:rollback/snmp-app-history:number");
    EXPECT_EQ(reply.message, std::string("the history has no configuration ") + number);
  }
  EXPECT_EQ(Ask(RollBack("many")).tag, "invalid-value");
  EXPECT_EQ(Ask(RollBack("1", "startup")).tag, "invalid-value");
  ExpectNothingChanged();
}

TEST_F(RollBackTest, ToAFileThatCannotBeReadIsRefused) {
  std::filesystem::remove(History().FileOf(1));
  const Reply reply = Ask(RollBack("1"));
  EXPECT_EQ(reply.tag, "operation-failed");
  EXPECT_THAT(reply.message, AllOf(HasSubstr("cannot read " + History().FileOf(1)),
                                   HasSubstr("No such file or directory")));
  ExpectNothingChanged();
}

TEST_F(RollBackTest, ToASpoiltFileIsRefused) {
  Folder().Write("history/1.json", "{ \"confd_dyncfg:conf");
  const Reply reply = Ask(RollBack("1"));
  EXPECT_EQ(reply.tag, "operation-failed");
  EXPECT_THAT(reply.message, HasSubstr(History().FileOf(1) + ": "));
  ExpectNothingChanged();
}

TEST_F(RollBackTest, ToWhatTheModelsRefuseTodayIsRefused) {
  Folder().Write("history/1.json", AgentJson(R"("colour": "blue")"));
  EXPECT_THAT(Ask(RollBack("1")).message, HasSubstr("colour"));
  Folder().Write("history/1.json", R"({"config:config": {"interface": {"l3": [)"
                                   R"({"name": "a", "vrf": "none"}]}}})");
  const Reply reply = Ask(RollBack("1"));
  EXPECT_EQ(reply.tag, "data-missing");
  EXPECT_THAT(reply.path, HasSubstr("config:vrf"));
  ExpectNothingChanged();
}

TEST_F(RollBackTest, UnderTheLockOfAnotherSessionIsRefused) {
  for (const char* target : {"running", "candidate"}) {
    ASSERT_EQ(Ask(OnTarget("lock", target), 2).tag, "ok");
    const Reply reply = Ask(RollBack("1", target));
    EXPECT_EQ(reply.tag, "in-use");
    EXPECT_EQ(reply.info, "<session-id>2</session-id>");
    ASSERT_EQ(Ask(OnTarget("unlock", target), 2).tag, "ok");
  }
  ExpectNothingChanged();
}

TEST_F(RollBackTest, BeforeACommitIsConfirmedIsRefused) {
  Edit(AgentPort("1164"), "candidate");
  ASSERT_EQ(Ask("<commit><confirmed/></commit>").tag, "ok");
  const Reply reply = Ask(RollBack("1"));
  EXPECT_EQ(reply.tag, "in-use");
  EXPECT_THAT(reply.message, HasSubstr("waits to be confirmed or cancelled"));
  EXPECT_EQ(Config(), AgentPort("1164"));
  ASSERT_EQ(Ask("<commit/>").tag, "ok");
  EXPECT_EQ(Ask(RollBack("1")).tag, "ok");
  EXPECT_EQ(Config(), AgentPort("1161"));
}

TEST_F(RollBackTest, ACommitThatIsTakenBackIsInTheHistoryToo) {
  Edit(AgentPort("1164"), "candidate");
  Ask("<commit><confirmed/></commit>");
  Stores().EndSession(1);
  const host::KeptConfiguration& last = History().Entries().back();
  EXPECT_EQ(last.number, 5U);
  EXPECT_EQ(last.author.user, "");
  EXPECT_EQ(last.author.operation, "taking back a commit: its session ended unconfirmed");
}

}  // namespace
}  // namespace host::test
