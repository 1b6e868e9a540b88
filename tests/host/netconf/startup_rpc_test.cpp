// The start-up datastore (RFC 6241, section 8.7).
#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include "config/store.h"
#include "rpc_fixture.h"

namespace host::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kStartup[] = "<startup/>";

class StartupTest : public RpcTest {
 protected:
  std::string File() const { return Folder().Path("startup.json"); }
  bool HasFile() const { return std::filesystem::exists(File()); }

  Reply Validate() { return Ask("<validate><source><startup/></source></validate>"); }

  const std::string port_ = Agent("<port>1161</port>");
};

TEST_F(StartupTest, ACopyOfRunningIsAFileThatAStartTakes) {
  Edit(port_);
  EXPECT_EQ(Ask(Copy("startup", "<running/>")).tag, "ok");
  EXPECT_EQ(Config("startup"), port_);
  EXPECT_THAT(host::ReadFile(File()), AllOf(HasSubstr("1161"), Not(HasSubstr("enabled"))));
  EXPECT_NO_THROW(Engine().CheckFile(File()));
  Edit(Agent("<port>1162</port>"));
  EXPECT_EQ(Config("startup"), port_);
  EXPECT_EQ(Ask(Copy("running", kStartup)).tag, "ok");
  EXPECT_EQ(Config(), port_);
}

TEST_F(StartupTest, ACopyReplacesAllOfIt) {
  Folder().Write("startup.json", AgentJson(R"("ip": "10.0.0.1")"));
  EXPECT_EQ(Config("startup"), Agent("<ip>10.0.0.1</ip>"));
  EXPECT_EQ(Ask(Copy("startup", "<config>" + port_ + "</config>")).tag, "ok");
  EXPECT_EQ(Config("startup"), port_);
}

TEST_F(StartupTest, WhatTheSystemWroteIsNotInIt) {
  const std::string marked =
      R"(<extraIpPorts xmlns:p="urn:snmp-app:platform" p:written-by="system">0.0.0.0:60600)"
      "</extraIpPorts>";
  const std::string content = Agent("<port>1161</port>" + marked);
  EXPECT_EQ(Ask(Copy("startup", "<config>" + content + "</config>")).tag, "ok");
  EXPECT_EQ(Config("startup"), port_);
}

TEST_F(StartupTest, WithoutAFileItIsEmpty) {
  EXPECT_EQ(Config("startup"), "");
  EXPECT_EQ(Validate().tag, "ok");
}

TEST_F(StartupTest, IsNotGivenWhatTheModelsRefuse) {
  const std::string bad = "<config>" + Interface("<name>a</name><vrf>none</vrf>") + "</config>";
  EXPECT_EQ(Ask(Copy("startup", bad)).tag, "data-missing");
  EXPECT_FALSE(HasFile());
}

TEST_F(StartupTest, AFileThatTheModelsRefuseIsToldByValidation) {
  Folder().Write("startup.json",
                 R"({"config:config": {"interface": {"l3": [{"name": "a", "vrf": "none"}]}}})");
  EXPECT_EQ(Validate().tag, "data-missing");
  EXPECT_EQ(Config("startup"), Interface("<name>a</name><vrf>none</vrf>"));
  EXPECT_EQ(Ask(Copy("running", kStartup)).tag, "data-missing");
  EXPECT_EQ(Config(), "");
}

TEST_F(StartupTest, AFileThatIsNoConfigurationIsTold) {
  Folder().Write("startup.json", "nonsense");
  const Reply reply = Ask("<get-config><source><startup/></source></get-config>");
  EXPECT_EQ(reply.tag, "operation-failed");
  EXPECT_THAT(reply.message, HasSubstr(File() + ": "));
}

TEST_F(StartupTest, WhatCannotBeWrittenIsTold) {
  std::filesystem::create_directory(File());
  const Reply reply = Ask(Copy("startup", "<running/>"));
  EXPECT_EQ(reply.tag, "operation-failed");
  EXPECT_THAT(reply.message,
              AllOf(HasSubstr("cannot replace " + File()), HasSubstr("Is a directory")));
}

TEST_F(StartupTest, IsDeletedAndNothingElseIs) {
  Edit(port_);
  Ask(Copy("startup", "<running/>"));
  EXPECT_EQ(Ask(OnTarget("delete-config", "startup")).tag, "ok");
  EXPECT_FALSE(HasFile());
  EXPECT_EQ(Config(), port_);
  EXPECT_EQ(Ask(OnTarget("delete-config", "startup")).tag, "ok");
  EXPECT_THAT(Ask(OnTarget("delete-config", "running")).message,
              HasSubstr("only the start-up datastore can be deleted"));
}

TEST_F(StartupTest, IsLockedOnItsOwn) {
  ASSERT_EQ(Ask(OnTarget("lock", "startup"), 2).tag, "ok");
  EXPECT_EQ(Ask(Copy("startup", "<running/>")).tag, "in-use");
  EXPECT_EQ(Ask(OnTarget("delete-config", "startup")).tag, "in-use");
  EXPECT_EQ(Ask(OnTarget("lock", "startup")).tag, "lock-denied");
  EXPECT_EQ(Edit(port_).tag, "ok");
  EXPECT_EQ(Edit(Agent("<port>1</port>"), "candidate").tag, "ok");
  EXPECT_EQ(Ask(Copy("startup", "<running/>"), 2).tag, "ok");
  EXPECT_EQ(Ask(OnTarget("unlock", "startup"), 2).tag, "ok");
  EXPECT_EQ(Config("candidate"), Agent("<port>1</port>"));
  ASSERT_EQ(Ask(OnTarget("lock", "startup"), 2).tag, "ok");
  Stores().EndSession(2);
  EXPECT_EQ(Ask(OnTarget("lock", "startup")).tag, "ok");
}

}  // namespace
}  // namespace host::test
