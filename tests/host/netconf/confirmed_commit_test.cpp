// Commits that are taken back unless they are confirmed (RFC 6241, section 8.4).
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "rpc_fixture.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;

class ConfirmedCommitTest : public RpcTest {
 protected:
  void SetUp() override {
    RpcTest::SetUp();
    if (IsSkipped()) return;
    Edit(Agent("<port>1161</port>"));
  }

  /// A commit of another port, with what it says of its confirmation.
  Reply CommitPort(int port, const std::string& confirmation, host::SessionId session = 1) {
    Edit(Agent("<port>" + std::to_string(port) + "</port>"), "candidate", "", session);
    return Ask("<commit>" + confirmation + "</commit>", session);
  }

  std::string Port() {
    const std::string config = Config();
    const size_t begin = config.find("<port>") + 6;
    return config.substr(begin, config.find('<', begin) - begin);
  }

  bool HasFile() const {
    const auto names = Folder().Names();
    return std::find(names.begin(), names.end(), "running.json.unconfirmed") != names.end();
  }

  /// The configuration that a start of another engine takes.
  std::string AfterARestart() {
    host::Engine other(MODELS_FOLDER, Folder().Path("running.json"), nullptr);
    EXPECT_TRUE(other.LoadStored().taken_back);
    return host::PrintTree(other.Running().get());
  }
};

TEST_F(ConfirmedCommitTest, IsInForceAndStaysWhenItIsConfirmed) {
  EXPECT_EQ(CommitPort(1162, "<confirmed/>").tag, "ok");
  EXPECT_EQ(Port(), "1162");
  EXPECT_TRUE(HasFile());
  EXPECT_EQ(Ask("<commit/>").tag, "ok");
  EXPECT_FALSE(HasFile());
  Stores().EndSession(1);
  EXPECT_EQ(Port(), "1162");
}

TEST_F(ConfirmedCommitTest, IsTakenBackWhenItIsNotConfirmedInTime) {
  CommitPort(1162, "<confirmed/><confirm-timeout>1</confirm-timeout>");
  loop_.run_for(std::chrono::seconds(20));
  EXPECT_EQ(Port(), "1161");
  EXPECT_FALSE(HasFile());
  EXPECT_EQ(Ask("<cancel-commit/>").tag, "operation-failed");
}

TEST_F(ConfirmedCommitTest, IsTakenBackWithItsSession) {
  CommitPort(1162, "<confirmed/>");
  Stores().EndSession(2);
  EXPECT_EQ(Port(), "1162");
  Stores().EndSession(1);
  EXPECT_EQ(Port(), "1161");
}

TEST_F(ConfirmedCommitTest, IsTakenBackAsAsked) {
  CommitPort(1162, "<confirmed/>");
  EXPECT_EQ(Ask("<cancel-commit/>", 2).tag, "invalid-value");
  EXPECT_EQ(Ask("<cancel-commit/>").tag, "ok");
  EXPECT_EQ(Port(), "1161");
  EXPECT_FALSE(HasFile());
}

TEST_F(ConfirmedCommitTest, IsTakenBackByAStart) {
  CommitPort(1162, "<confirmed/>");
  EXPECT_THAT(AfterARestart(), HasSubstr("1161"));
  EXPECT_FALSE(HasFile());
}

TEST_F(ConfirmedCommitTest, AnotherOneBeforeItsConfirmationGoesBackAsFar) {
  CommitPort(1162, "<confirmed/>");
  CommitPort(1163, "<confirmed/>");
  EXPECT_EQ(Port(), "1163");
  EXPECT_EQ(Ask("<cancel-commit/>").tag, "ok");
  EXPECT_EQ(Port(), "1161");
}

TEST_F(ConfirmedCommitTest, TheConfirmingCommitChangesAsWell) {
  CommitPort(1162, "<confirmed/>");
  EXPECT_EQ(CommitPort(1163, "").tag, "ok");
  Stores().EndSession(1);
  EXPECT_EQ(Port(), "1163");
}

TEST_F(ConfirmedCommitTest, WithAnIdAnySessionConfirmsIt) {
  CommitPort(1162, "<confirmed/><persist>a</persist>");
  Stores().EndSession(1);
  EXPECT_EQ(Port(), "1162");
  EXPECT_EQ(Ask("<commit/>", 2).tag, "invalid-value");
  EXPECT_EQ(Ask("<commit><persist-id>b</persist-id></commit>", 2).tag, "invalid-value");
  EXPECT_TRUE(HasFile());
  EXPECT_EQ(Ask("<commit><persist-id>a</persist-id></commit>", 2).tag, "ok");
  EXPECT_FALSE(HasFile());
  EXPECT_EQ(Ask("<commit><persist-id>a</persist-id></commit>", 2).tag, "invalid-value");
}

TEST_F(ConfirmedCommitTest, ARefusedOneWaitsForNothing) {
  Edit(Interface("<name>a</name><vrf>none</vrf>"), "candidate");
  EXPECT_NE(Ask("<commit><confirmed/></commit>").tag, "ok");
  EXPECT_FALSE(HasFile());
  EXPECT_EQ(Ask("<cancel-commit/>").tag, "operation-failed");
}

TEST_F(ConfirmedCommitTest, OthersCannotLockRunningBeforeItsConfirmation) {
  CommitPort(1162, "<confirmed/>");
  const Reply reply = Ask(OnTarget("lock", "running"), 2);
  EXPECT_EQ(reply.tag, "lock-denied");
  EXPECT_EQ(reply.info, "<session-id>1</session-id>");
  EXPECT_EQ(Ask(OnTarget("lock", "running")).tag, "ok");
}

}  // namespace
}  // namespace host::test
