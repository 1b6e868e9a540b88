// Whole commits, from the change of the configuration to the rebind.

#include "agent_test.h"
#include "vkconfd/app_interface.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class AgentCommitTest : public AgentTest {
 protected:
  AgentCommitTest()
      : app_(vkos::the_context->GetVkmw(), vkmw_trace_register_category("snmp-app"), "snmp-app",
             {&handler_}, {}, {}, ELEM_CONFD_PHASE_2, 0) {
    Configure(true, "127.0.0.1", agent::kPortNumber, {});
    device_.framework.Connect();
    ForgetRecords();
  }

  vkconfd::AppInterface app_;
};

TEST_F(AgentCommitTest, ChangedAddressIsBoundFiveSecondsLater) {
  device_.framework.Commit(
      [](fake::Database& edit) { edit.Set(agent::kIp, common::MakeBuf("127.0.0.2")); });
  EXPECT_THAT(device_.confd.rebinds, IsEmpty());
  device_.clock.Advance(5000);
  EXPECT_EQ(1U, device_.confd.rebinds.size());
  EXPECT_THAT(device_.Events("log BindAgent: Trying"),
              ElementsAre("log BindAgent: Trying to bind to /confdConfig/snmpAgent/ip:10161",
                          "log BindAgent: Trying to bind to 127.0.0.2:10161"));
}

TEST_F(AgentCommitTest, EnableFlagComesBeforeTheOtherLeaves) {
  device_.framework.Commit([](fake::Database& edit) {
    edit.Set(agent::kPort, common::MakeUint16(10163));
    edit.Set(agent::kExtra, agent::List({"127.0.0.1:10164"}));
    edit.Set(agent::kEnabled, common::MakeBool(false));
  });
  EXPECT_THAT(device_.Events("log StartCommit").size(), 1U);
  EXPECT_THAT(device_.Events("log HandleCfg: Called"),
              ElementsAre("log HandleCfg: Called kp /confdConfig/snmpAgent/enabled, op 4",
                          "log HandleCfg: Called kp /confdConfig/snmpAgent/extraIpPorts, op 4",
                          "log HandleCfg: Called kp /confdConfig/snmpAgent/port, op 4"));
  EXPECT_THAT(device_.confd.rebinds, IsEmpty());
}

TEST_F(AgentCommitTest, EmptiedExtraListIsOneNewValue) {
  device_.framework.Commit(
      [](fake::Database& edit) { edit.Set(agent::kExtra, agent::List({"192.0.2.1:10161"})); });
  ForgetRecords();
  device_.framework.Commit([](fake::Database& edit) { edit.Delete(agent::kExtra); });
  EXPECT_THAT(device_.Events("log HandleCfg"),
              ElementsAre("log HandleCfg: Called kp /confdConfig/snmpAgent/extraIpPorts, op 4",
                          "log HandleCfg: New value: [ ]"));
  EXPECT_EQ(1U, device_.confd.rebinds.size());
}

TEST_F(AgentCommitTest, ExceptionOfACallbackStaysInTheFramework) {
  device_.framework.Commit([](fake::Database& edit) {
    edit.Set(agent::kExtra, agent::List({"127.0.0.1:999999999999999999999999"}));
  });
  ASSERT_EQ(1U, device_.middleware.faults.size());
  EXPECT_EQ(std::string("change at ") + agent::kExtra + ": stoul",
            device_.middleware.faults[0].text);
  EXPECT_THAT(device_.Events("log ApplyCommitConfig").size(), 1U);
}

}  // namespace
