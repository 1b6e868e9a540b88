// Values of the wrong type end the process with the text of the assertion.

#include "dying_gasp_test.h"

namespace {

using ::testing::HasSubstr;

class DyingGaspDeathTest : public DyingGaspTest {
 protected:
  static std::string Failed(
      const std::string& assertion,
      const std::string& function =
          "confd_iter_ret DyingGaspTrapCfgHandler::HandleCfg(confd_hkeypath_t*, confd_iter_op, "
          "confd_value_t*, confd_value_t*)") {
    return function + ": Assertion `" + assertion + "' failed";
  }

  void Handle(confd_hkeypath_t kp, confd_iter_op op) {
    confd_value_t value = common::MakeUint16(1);
    handler_.HandleCfg(&kp, op, nullptr, &value);
  }
};

TEST_F(DyingGaspDeathTest, LoadedFlagIsNoBool) {
  Running().Set(gasp::kEnabled, common::MakeUint8(1));
  EXPECT_DEATH(Load(),
               HasSubstr(Failed("(&agent_enabled)->type == C_BOOL",
                                "virtual void DyingGaspTrapCfgHandler::LoadInitialConfig(int)")));
}

TEST_F(DyingGaspDeathTest, NameOfALeafIsNoTag) {
  confd_hkeypath_t kp = ElementPath({"snmp", "agent"});
  kp.v[0][0] = common::MakeUint16(1);
  EXPECT_DEATH(Handle(kp, MOP_VALUE_SET), HasSubstr(Failed("(&kp->v[0][0])->type == C_XMLTAG")));
}

TEST_F(DyingGaspDeathTest, NameOfAListIsNoTag) {
  confd_hkeypath_t kp = ElementPath({"snmp", "agent"});
  kp.v[1][0] = common::MakeUint16(1);
  for (const confd_iter_op op : {MOP_CREATED, MOP_DELETED}) {
    EXPECT_DEATH(Handle(kp, op), HasSubstr(Failed("(&kp->v[1][0])->type == C_XMLTAG")));
  }
}

TEST_F(DyingGaspDeathTest, NewFlagIsNoBool) {
  EXPECT_DEATH(Handle(ElementPath({"snmpAgent", "enabled"}), MOP_VALUE_SET),
               HasSubstr(Failed("(cfg_value)->type == C_BOOL")));
}

TEST_F(DyingGaspDeathTest, FlagThatCameOrWentIsNoBool) {
  const confd_hkeypath_t kp = EntryPath({"snmpAgent", "enabled"}, common::MakeUint16(1));
  for (const confd_iter_op op : {MOP_CREATED, MOP_DELETED}) {
    EXPECT_DEATH(Handle(kp, op), HasSubstr(Failed("(cfg_value)->type == C_BOOL")));
  }
}

}  // namespace
