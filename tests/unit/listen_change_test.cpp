// The listen handler: the changes that it is told of.

#include <limits>

#include "listen_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ListenChangeTest : public ListenTest {
 protected:
  static std::string Handle(int level, const std::string& text) {
    return listening::Line("HandleCfg", level, text);
  }
};

TEST_F(ListenChangeTest, StartCommitOnlyLogs) {
  handler_->StartCommit();
  EXPECT_THAT(LogLines(),
              ElementsAre(listening::Line("StartCommit", 10,
                                          "Starting commit of configuration for SNMP listening.")));
  EXPECT_EQ(1U, device_.journal.size());
}

TEST_F(ListenChangeTest, ModificationOnlyRecurses) {
  EXPECT_EQ(ITER_RECURSE, ChangeEntry("l3-a", MOP_MODIFIED));
  EXPECT_THAT(LogLines(),
              ElementsAre(Handle(10, "Called kp /snmp/agent/listen/interface{l3-a}, op 3")));
}

TEST_F(ListenChangeTest, OtherOperationIsIgnored) {
  EXPECT_EQ(ITER_CONTINUE, ChangeEntry("l3-a", MOP_NOP));
  EXPECT_EQ(Handle(12, "Ignored operation 0"), LogLines().back());
  EXPECT_EQ(ITER_CONTINUE, ChangeEntry("l3-a", static_cast<confd_iter_op>(5)));
  EXPECT_EQ(Handle(12, "Ignored operation 5"), LogLines().back());
}

TEST_F(ListenChangeTest, DisabledAgentHasItsRulesRemovedAndEnabledInstalledAgain) {
  LoadOne();
  AddInterface("l3-eth2", 6, "veth2");
  listening::AddRow(device_.confd.running, "l3-eth2", 162, 60601);
  Load();
  ForgetRecords();
  EXPECT_EQ(ITER_CONTINUE, ChangeEnabled(common::MakeBool(true)));
  EXPECT_THAT(LogLines(), ElementsAre(Handle(10, "Called kp /confdConfig/snmpAgent/enabled, op 4"),
                                      Handle(10, "New value: true")));
  EXPECT_THAT(device_.rules.calls, IsEmpty()) << "before the commit is applied";
  EXPECT_THAT(Apply(),
              ElementsAre("rule add veth1 5 161 60600 2 2", "rule add veth2 6 162 60601 2 2"));
  ChangeEnabled(common::MakeBool(false));
  EXPECT_THAT(Apply(), ElementsAre("rule delete veth1 5 161 60600 2 2",
                                   "rule delete veth2 6 162 60601 2 2"));
  ChangeEnabled(common::MakeBool(true));
  EXPECT_THAT(Apply(),
              ElementsAre("rule add veth1 5 161 60600 2 2", "rule add veth2 6 162 60601 2 2"));
}

TEST_F(ListenChangeTest, NewPortRemovesTheOldRulesFirst) {
  EnableAgent(true);
  LoadOne();
  EXPECT_EQ(ITER_CONTINUE, ChangeLeaf("l3-eth1", "udp-port", common::MakeUint16(5000)));
  EXPECT_THAT(
      device_.journal,
      ElementsAre("log HandleCfg: Called kp /snmp/agent/listen/interface{l3-eth1}/udp-port, op 4",
                  "log HandleCfg: New value: 5000", "session open 1",
                  "log DelInterfaceRules: Creating Iptools instance for deletion",
                  "iptools new snmp-app-listen",
                  "log DelInterfaceRules: Removing SNMP listening rules for interface l3-eth1",
                  "log DelInterfaceRules: Port 161 redirected to 60600",
                  "rule delete veth1 5 161 60600 2 2", "session close",
                  "log HandleCfg: Updating listening interface l3-eth1 with new port 5000"));
  EXPECT_EQ(Handle(11, "Updating listening interface l3-eth1 with new port 5000"),
            LogLines().back());
  EXPECT_EQ(60600, Entry("l3-eth1").redir_port);
  EXPECT_THAT(Apply(), ElementsAre("rule add veth1 5 5000 60600 2 2"));
}

TEST_F(ListenChangeTest, NewPortOfAnInterfaceWithoutVrfLeavesTheRedirectPort) {
  listening::AddRow(device_.confd.running, "l3-a", 161, 161);
  Load();
  ChangeLeaf("l3-a", "udp-port", common::MakeUint16(5000));
  EXPECT_EQ(5000, Entry("l3-a").udp_port);
  EXPECT_EQ(161, Entry("l3-a").redir_port);
  EXPECT_THAT(device_.rules.calls, IsEmpty());
}

TEST_F(ListenChangeTest, NewPortOfAnUnknownInterfaceIsAFault) {
  EXPECT_EQ(ITER_CONTINUE, ChangeLeaf("l3-x", "udp-port", common::MakeUint16(5000)));
  EXPECT_THAT(FaultLines(), ElementsAre(listening::Fault(
                                "HandleCfg", "map::at: could not update port for interface l3-x")));
  EXPECT_THAT(handler_->Stash().entries, IsEmpty());
  EXPECT_THAT(device_.rules.calls, IsEmpty());
}

TEST_F(ListenChangeTest, FaultTextIsCutTo300Bytes) {
  const std::string name = "l3-" + std::string(400, 'x');
  ChangeLeaf(name, "udp-port", common::MakeUint16(5000));
  ChangeEntry(name, MOP_DELETED);
  ASSERT_EQ(2U, device_.middleware.faults.size());
  EXPECT_EQ(("map::at: could not update port for interface " + name).substr(0, 299),
            device_.middleware.faults[0].text);
  EXPECT_EQ(("map::at: could not del rules for interface " + name).substr(0, 299),
            device_.middleware.faults[1].text);
}

TEST_F(ListenChangeTest, OtherLeafIsIgnored) {
  LoadOne();
  EXPECT_EQ(ITER_CONTINUE, ChangeLeaf("l3-eth1", "redir-port", common::MakeUint16(5000)));
  EXPECT_THAT(
      LogLines(),
      ElementsAre(Handle(10, "Called kp /snmp/agent/listen/interface{l3-eth1}/redir-port, op 4"),
                  Handle(10, "New value: 5000"), Handle(12, "Ignoring tag 1515013121")));
  EXPECT_EQ(60600, Entry("l3-eth1").redir_port);
}

TEST_F(ListenChangeTest, TagIsLoggedAsASignedNumber) {
  confd_hkeypath_t kp = ElementPath({"snmp", "agent"});
  confd_value_t value = common::MakeUint16(7);
  kp.v[0][0] = common::MakeTag(std::numeric_limits<uint32_t>::max() - 1, 0);
  handler_->HandleCfg(&kp, MOP_VALUE_SET, nullptr, &value);
  EXPECT_EQ(Handle(12, "Ignoring tag -2"), LogLines().back());
}

TEST_F(ListenChangeTest, ValueIsNotPrintedWhenDetailIsOff) {
  device_.log.threshold = 11;
  ChangeEnabled(common::MakeBool(true));
  EXPECT_EQ(0, device_.confd.printed_values);
}

TEST_F(ListenChangeTest, CreatedRowGetsNoRuleUntilItsPortComes) {
  EnableAgent(true);
  Load();
  AddInterface("l3-eth1", 5, "veth1");
  ForgetRecords();
  EXPECT_EQ(ITER_RECURSE, ChangeEntry("l3-eth1", MOP_CREATED));
  EXPECT_THAT(
      device_.journal,
      ElementsAre("log HandleCfg: Called kp /snmp/agent/listen/interface{l3-eth1}, op 1",
                  "session open 1", "interface facts l3-eth1", "interface kernel name l3-eth1",
                  "log GatherInterfaceInfo: Got interface l3-eth1 vrf 5 kernel name veth1",
                  "log HandleCfg: Adding interface l3-eth1 to stash", "session close"));
  EXPECT_EQ(Handle(11, "Adding interface l3-eth1 to stash"), LogLines().back());
  EXPECT_EQ(0, Entry("l3-eth1").udp_port);
  EXPECT_EQ(60600, Entry("l3-eth1").redir_port);
  EXPECT_THAT(Apply(), IsEmpty());
  ChangeLeaf("l3-eth1", "udp-port", common::MakeUint16(161));
  EXPECT_THAT(Apply(), ElementsAre("rule add veth1 5 161 60600 2 2"));
}

TEST_F(ListenChangeTest, CreatedRowReplacesARecord) {
  LoadOne();
  ChangeEntry("l3-eth1", MOP_CREATED);
  EXPECT_EQ(0, Entry("l3-eth1").udp_port);
  EXPECT_EQ(60600, Entry("l3-eth1").redir_port);
}

TEST_F(ListenChangeTest, DeletedRowLosesItsRulesItsRecordAndItsPort) {
  LoadOne();
  EXPECT_EQ(ITER_CONTINUE, ChangeEntry("l3-eth1", MOP_DELETED));
  EXPECT_THAT(device_.Events("rule"), ElementsAre("rule delete veth1 5 161 60600 2 2"));
  EXPECT_EQ(Handle(11, "Removing interface l3-eth1 from stash"), LogLines().back());
  EXPECT_THAT(handler_->Stash().entries, IsEmpty());
  EXPECT_EQ(60600, handler_->AllocateRedirPort("l3-next"));
}

TEST_F(ListenChangeTest, DeletionOfAnUnknownRowIsAFaultAndKeepsItsPort) {
  handler_->AllocateRedirPort("l3-x");
  EXPECT_EQ(ITER_CONTINUE, ChangeEntry("l3-x", MOP_DELETED));
  EXPECT_THAT(FaultLines(),
              ElementsAre(listening::Fault("HandleCfg",
                                           "map::at: could not del rules for interface "
                                           "l3-x")));
  EXPECT_EQ(60601, handler_->AllocateRedirPort("l3-y"));
}

TEST_F(ListenChangeTest, EntryOfAnotherListIsIgnored) {
  const common::OwnedValue key(common::MakeBuf("l3-a"));
  confd_hkeypath_t kp = EntryPath({"snmp", "port"}, key.Value());
  for (const confd_iter_op op : {MOP_CREATED, MOP_DELETED}) {
    ForgetRecords();
    EXPECT_EQ(ITER_CONTINUE, handler_->HandleCfg(&kp, op, nullptr, nullptr));
    EXPECT_EQ(Handle(12, "Ignoring tag 10387472"), LogLines().back());
    EXPECT_EQ(2U, device_.journal.size());
  }
}

TEST_F(ListenChangeTest, KeyPathIsCutTo127Characters) {
  ChangeEntry(std::string(200, 'n'), MOP_MODIFIED);
  const std::string path = "/snmp/agent/listen/interface{" + std::string(200, 'n');
  EXPECT_THAT(LogLines(), ElementsAre(Handle(10, "Called kp " + path.substr(0, 127) + ", op 3")));
}

}  // namespace
