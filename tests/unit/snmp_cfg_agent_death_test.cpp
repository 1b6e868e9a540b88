// Values of the wrong type end the process with the text of the assertion.

#include "agent_test.h"

namespace {

using ::testing::HasSubstr;

class SnmpCfgAgentDeathTest : public AgentTest {
 protected:
  static std::string Failed(const std::string& assertion,
                            const std::string& function =
                                "confd_iter_ret SnmpAgentCfgHandler::HandleCfg(confd_hkeypath_t*, "
                                "confd_iter_op, confd_value_t*, confd_value_t*)") {
    return function + ": Assertion `" + assertion + "' failed";
  }

  static std::string FailedLoad(const std::string& assertion) {
    return Failed(assertion, "virtual void SnmpAgentCfgHandler::LoadInitialConfig(int)");
  }
};

TEST_F(SnmpCfgAgentDeathTest, NameOfACreatedEntryIsNoTag) {
  confd_hkeypath_t kp = agent::LeafPath("ip");
  kp.v[1][0] = common::MakeUint16(1);
  EXPECT_DEATH(handler_.HandleCfg(&kp, MOP_CREATED, nullptr, nullptr),
               HasSubstr(Failed("(&kp->v[1][0])->type == C_XMLTAG")));
}

TEST_F(SnmpCfgAgentDeathTest, NameOfALeafIsNoTag) {
  confd_hkeypath_t kp = agent::LeafPath("ip");
  kp.v[0][0] = common::MakeUint16(1);
  confd_value_t value = common::MakeUint16(1);
  EXPECT_DEATH(handler_.HandleCfg(&kp, MOP_VALUE_SET, nullptr, &value),
               HasSubstr(Failed("(&kp->v[0][0])->type == C_XMLTAG")));
}

TEST_F(SnmpCfgAgentDeathTest, NewEnableFlagIsNoBool) {
  EXPECT_DEATH(ChangeLeaf("enabled", common::MakeUint16(1)),
               HasSubstr(Failed("(cfg_value)->type == C_BOOL")));
}

TEST_F(SnmpCfgAgentDeathTest, NewPortIsNoUint16) {
  EXPECT_DEATH(ChangeLeaf("port", common::MakeUint32(161)),
               HasSubstr(Failed("(cfg_value)->type == C_UINT16")));
}

TEST_F(SnmpCfgAgentDeathTest, LoadedPortIsNoUint16) {
  Configure(true, "127.0.0.1", agent::kPortNumber, {});
  device_.confd.running.Set(agent::kPort, common::MakeUint32(161));
  EXPECT_DEATH(Load(), HasSubstr(FailedLoad("(&agent_port)->type == C_UINT16")));
}

TEST_F(SnmpCfgAgentDeathTest, LoadedEnableFlagIsNoBool) {
  Configure(true, "127.0.0.1", agent::kPortNumber, {});
  device_.confd.running.Set(agent::kEnabled, common::MakeUint8(1));
  EXPECT_DEATH(Load(), HasSubstr(FailedLoad("(&agent_enabled)->type == C_BOOL")));
}

}  // namespace
