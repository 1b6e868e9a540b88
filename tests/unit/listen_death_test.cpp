// Values of the wrong type end the process with the text of the assertion.

#include <stdexcept>

#include "app/intf_cfg.h"
#include "listen_test.h"

namespace {

using ::testing::HasSubstr;

class ListenDeathTest : public ListenTest {
 protected:
  static std::string Failed(
      const std::string& assertion,
      const std::string& function = "confd_iter_ret SnmpListenCfgHandler::HandleCfg" + kChange) {
    return function + ": Assertion `" + assertion + "' failed";
  }

  inline static const std::string kChange =
      "(confd_hkeypath_t*, confd_iter_op, confd_value_t*, confd_value_t*)";

  void Handle(confd_hkeypath_t kp, confd_iter_op op) {
    confd_value_t value = common::MakeUint16(1);
    handler_->HandleCfg(&kp, op, nullptr, &value);
  }
};

TEST_F(ListenDeathTest, NameOfALeafIsNoTag) {
  confd_hkeypath_t kp = ElementPath({"snmp", "agent"});
  kp.v[0][0] = common::MakeUint16(1);
  EXPECT_DEATH(Handle(kp, MOP_VALUE_SET), HasSubstr(Failed("(&kp->v[0][0])->type == C_XMLTAG")));
}

TEST_F(ListenDeathTest, NameOfAListIsNoTag) {
  confd_hkeypath_t kp = ElementPath({"snmp", "agent"});
  kp.v[1][0] = common::MakeUint16(1);
  for (const confd_iter_op op : {MOP_CREATED, MOP_DELETED}) {
    EXPECT_DEATH(Handle(kp, op), HasSubstr(Failed("(&kp->v[1][0])->type == C_XMLTAG")));
  }
}

TEST_F(ListenDeathTest, KeyOfAnEntryIsNoText) {
  const confd_hkeypath_t kp = EntryPath({"snmp", "interface"}, common::MakeUint16(1));
  for (const confd_iter_op op : {MOP_CREATED, MOP_DELETED}) {
    EXPECT_DEATH(Handle(kp, op), HasSubstr(Failed("(&kp->v[0][0])->type == C_BUF")));
  }
}

TEST_F(ListenDeathTest, KeyAboveAPortIsNoText) {
  EXPECT_DEATH(Handle(ElementPath({"interface", "udp-port"}), MOP_VALUE_SET),
               HasSubstr(Failed("(&kp->v[1][0])->type == C_BUF")));
}

TEST_F(ListenDeathTest, NewEnableFlagIsNoBool) {
  EXPECT_DEATH(ChangeEnabled(common::MakeUint16(1)),
               HasSubstr(Failed("(cfg_value)->type == C_BOOL")));
}

TEST_F(ListenDeathTest, NewPortIsNoUint16) {
  LoadOne();
  EXPECT_DEATH(ChangeLeaf("l3-eth1", "udp-port", common::MakeUint32(1)),
               HasSubstr(Failed("(cfg_value)->type == C_UINT16")));
}

TEST_F(ListenDeathTest, LoadedEnableFlagIsNoBool) {
  device_.confd.running.Set(listening::kEnabled, common::MakeUint8(1));
  EXPECT_DEATH(Load(),
               HasSubstr(Failed("(&agent_enabled)->type == C_BOOL",
                                "virtual void SnmpListenCfgHandler::LoadInitialConfig(int)")));
}

TEST_F(ListenDeathTest, KeyOfAnL3InterfaceIsNoText) {
  IntfCfgHandler handler(handler_);
  confd_hkeypath_t kp = EntryPath({"config", "interface", "l3"}, common::MakeUint16(1));
  EXPECT_DEATH(handler.HandleCfg(&kp, MOP_MODIFIED, nullptr, nullptr),
               HasSubstr(Failed("(&kp->v[0][0])->type == C_BUF",
                                "confd_iter_ret IntfCfgHandler::HandleCfg" + kChange)));
}

}  // namespace
