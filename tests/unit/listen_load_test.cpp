// The listen handler: construction, load at start and the sweep behind it.

#include "listen_test.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;

class ListenLoadTest : public ListenTest {
 protected:
  static std::string Loading(int level, const std::string& text) {
    return listening::Line("LoadInitialConfig", level, text);
  }
};

TEST_F(ListenLoadTest, ConstructionRegistersTheCategoryAndHasAnEmptyStash) {
  const SnmpListenCfgHandler handler;
  EXPECT_THAT(device_.journal, ElementsAre("category snmp-app-listen"));
  EXPECT_THAT(handler.Stash().entries, IsEmpty());
  EXPECT_FALSE(handler.Stash().cleanup);
  EXPECT_EQ(nullptr, boost::any_cast<SnmpListenCfgHandler*>(handler.Stash().cleanup_context));
}

TEST_F(ListenLoadTest, SubscribesTwoPointsInOrder) {
  const std::vector<vkconfd::SubscriptionPoint>& points = handler_->GetSubscriptionPoints();
  ASSERT_EQ(2U, points.size());
  EXPECT_EQ(10, points[0].priority);
  EXPECT_EQ(0x11E87650, points[0].ns);
  EXPECT_STREQ("/confd_dyncfg:confdConfig/snmpAgent/enabled", points[0].path);
  EXPECT_EQ(0, points[0].iterate_flags);
  EXPECT_EQ(20, points[1].priority);
  EXPECT_EQ(0x1ECDF09A, points[1].ns);
  EXPECT_STREQ("/snmp/agent/listen/interface", points[1].path);
  EXPECT_EQ(7, points[1].iterate_flags);
}

TEST_F(ListenLoadTest, EveryPointCallsHandleCfgOfItsHandler) {
  for (const vkconfd::SubscriptionPoint& point : handler_->GetSubscriptionPoints()) {
    ForgetRecords();
    confd_hkeypath_t kp = ElementPath({"snmp", "agent"});
    EXPECT_EQ(ITER_RECURSE, point.callback(&kp, MOP_MODIFIED, nullptr, nullptr));
    EXPECT_THAT(LogLines(),
                ElementsAre(listening::Line("HandleCfg", 10, "Called kp /snmp/agent, op 3")));
  }
}

TEST_F(ListenLoadTest, LoadReadsEveryRowAndTouchesNoRule) {
  EnableAgent(true);
  AddInterface("l3-a", 5, "veth0");
  listening::AddRow(device_.confd.running, "l3-a", 161, 60600);
  listening::AddRow(device_.confd.running, "l3-b", 162, 163);
  Load();
  EXPECT_THAT(
      LogLines(),
      ElementsAre(
          Loading(11, "Loading SNMP listening configuration"), Loading(10, "Agent is enabled"),
          Loading(10, "Getting 2 listening interface(s)"),
          listening::Line("GatherInterfaceInfo", 10, "Got interface l3-a vrf 5 kernel name veth0"),
          listening::Line("GatherInterfaceInfo", 10, "Got interface l3-b vrf 0 kernel name b")));
  EXPECT_THAT(device_.rules.calls, IsEmpty());
  EXPECT_EQ(161, Entry("l3-a").udp_port);
  EXPECT_EQ(60600, Entry("l3-a").redir_port);
  EXPECT_EQ(162, Entry("l3-b").udp_port);
  EXPECT_EQ(163, Entry("l3-b").redir_port) << "the value read replaces the gathered one";
  EXPECT_THAT(handler_->Stash().marks, ElementsAre(Pair("l3-a", true), Pair("l3-b", true)));
  EXPECT_EQ(handler_.get(),
            boost::any_cast<SnmpListenCfgHandler*>(handler_->Stash().cleanup_context));
}

TEST_F(ListenLoadTest, StoredPortsAreReadAheadOfTheRows) {
  EnableAgent(false);
  listening::AddRow(device_.confd.running, "l3-a", 161, 161);
  listening::AddRow(device_.confd.running, "l3-b");
  Load();
  EXPECT_THAT(device_.Events("cdb"),
              ElementsAre(std::string("cdb_get ") + listening::kEnabled,
                          "cdb_num_instances /snmp/agent/listen/interface",
                          "cdb_get /snmp/agent/listen/interface[0]/redir-port",
                          "cdb_get /snmp/agent/listen/interface[0]/name",
                          "cdb_get /snmp/agent/listen/interface[1]/redir-port",
                          "cdb_get_str /snmp/agent/listen/interface[0]/name",
                          "cdb_get_u_int16 /snmp/agent/listen/interface[0]/udp-port",
                          "cdb_get_u_int16 /snmp/agent/listen/interface[0]/redir-port",
                          "cdb_get_str /snmp/agent/listen/interface[1]/name",
                          "cdb_get_u_int16 /snmp/agent/listen/interface[1]/udp-port",
                          "cdb_get_u_int16 /snmp/agent/listen/interface[1]/redir-port"));
  EXPECT_EQ(Loading(10, "Agent is disabled"), LogLines()[1]);
}

TEST_F(ListenLoadTest, AgentFlagThatCannotBeReadKeepsItsValueSilently) {
  EnableAgent(true);
  LoadOne();
  device_.confd.RefuseNext("cdb_get /confd", CONFD_ERR_EXTERNAL, "no flag");
  Load();
  EXPECT_EQ(Loading(10, "Getting 1 listening interface(s)"), LogLines()[1]);
  EXPECT_THAT(FaultLines(), IsEmpty());
  EXPECT_THAT(Apply(), ElementsAre("rule add veth1 5 161 60600 2 2"));
}

TEST_F(ListenLoadTest, FailedCountIsLoggedAndNoRowRead) {
  listening::AddRow(device_.confd.running, "l3-a", 161, 161);
  device_.confd.RefuseNext("cdb_num_instances", CONFD_ERR_EXTERNAL, "no list");
  Load();
  EXPECT_EQ(Loading(10, "Getting -1 listening interface(s)"), LogLines().back());
  EXPECT_THAT(handler_->Stash().entries, IsEmpty());
}

TEST_F(ListenLoadTest, RowWithEmptyNameIsSkipped) {
  listening::AddRow(device_.confd.running, "", 161, 161);
  listening::AddRow(device_.confd.running, "l3-b", 162, 162);
  Load();
  EXPECT_THAT(handler_->Stash().entries, ElementsAre(Pair("l3-b", ::testing::_)));
  EXPECT_THAT(FaultLines(), IsEmpty());
}

TEST_F(ListenLoadTest, NameThatCannotBeReadIsAFaultAndTheRowSkipped) {
  listening::AddRow(device_.confd.running, "l3-a", 161, 161);
  listening::AddRow(device_.confd.running, "l3-b", 162, 162);
  device_.confd.RefuseNext("cdb_get_str", CONFD_ERR_EXTERNAL, "no name");
  Load();
  EXPECT_THAT(FaultLines(), ElementsAre(listening::Fault("LoadInitialConfig", "no name")));
  EXPECT_THAT(handler_->Stash().entries, ElementsAre(Pair("l3-b", ::testing::_)));
}

TEST_F(ListenLoadTest, PortsThatCannotBeReadAreFaultsAndTheRowIsStored) {
  AddInterface("l3-a", 5, "veth0");
  listening::AddRow(device_.confd.running, "l3-a", 161, 60700);
  device_.confd.RefuseNext("cdb_get_u_int16", CONFD_ERR_EXTERNAL, "no udp");
  device_.confd.RefuseNext("cdb_get_u_int16", CONFD_ERR_EXTERNAL, std::string(400, 'e'));
  Load();
  EXPECT_THAT(FaultLines(),
              ElementsAre(listening::Fault("LoadInitialConfig", "no udp"),
                          listening::Fault("LoadInitialConfig", std::string(299, 'e'))));
  EXPECT_LT(device_.middleware.faults[0].line, device_.middleware.faults[1].line)
      << "each read has its own";
  EXPECT_EQ(0, Entry("l3-a").udp_port);
  EXPECT_EQ(60700, Entry("l3-a").redir_port) << "the one that was put aside for it";
}

TEST_F(ListenLoadTest, NameIsCutTo127Bytes) {
  const std::string name(200, 'n');
  listening::AddRow(device_.confd.running, name, 161, 161);
  Load();
  EXPECT_THAT(handler_->Stash().entries, ElementsAre(Pair(name.substr(0, 127), ::testing::_)));
}

TEST_F(ListenLoadTest, LoadedPortIsNotHandedOutAgain) {
  listening::AddRow(device_.confd.running, "l3-a", 161, 60600);
  Load();
  EXPECT_EQ(60600, handler_->AllocateRedirPort("l3-a"));
  EXPECT_EQ(60601, handler_->AllocateRedirPort("l3-b"));
}

TEST_F(ListenLoadTest, StoredPortsArePutAsideBeforeAnyRowGetsOne) {
  AddInterface("l3-new", 5, "veth0");
  AddInterface("l3-old", 5, "veth1");
  listening::AddRow(device_.confd.running, "l3-new");
  listening::SetPort(device_.confd.running, "l3-new", "udp-port", 161);
  listening::AddRow(device_.confd.running, "l3-old", 161, 60600);
  Load();
  EXPECT_EQ(60601, Entry("l3-new").redir_port);
  EXPECT_EQ(60600, handler_->AllocateRedirPort("l3-old"));
  EXPECT_EQ(1U, FaultLines().size()) << "the missing port is told once";
}

TEST_F(ListenLoadTest, InterfaceInNoVrfHasNoPortToKeep) {
  listening::AddRow(device_.confd.running, "l3-none", 161, 0);
  listening::AddRow(device_.confd.running, "l3-unset");
  listening::SetPort(device_.confd.running, "l3-unset", "udp-port", 161);
  Load();
  EXPECT_EQ(60600, handler_->AllocateRedirPort("l3-none"));
  EXPECT_EQ(60601, handler_->AllocateRedirPort("l3-unset"));
}

TEST_F(ListenLoadTest, InterfaceThatLeftItsVrfKeepsItsStoredPort) {
  AddInterface("l3-new", 5, "veth0");
  listening::AddRow(device_.confd.running, "l3-left", 161, 60600);
  Load();
  EXPECT_EQ(60601, handler_->AllocateRedirPort("l3-new"));
  EXPECT_EQ(60600, handler_->AllocateRedirPort("l3-left"));
}

TEST_F(ListenLoadTest, StoredPortOfANamelessRowIsNobodys) {
  listening::AddRow(device_.confd.running, "", 161, 60600);
  Load();
  EXPECT_EQ(60600, handler_->AllocateRedirPort("l3-a"));
}

TEST_F(ListenLoadTest, PortThatTwoRowsStoredIsTheFirstOnes) {
  AddInterface("l3-a", 5, "veth0");
  AddInterface("l3-b", 5, "veth1");
  listening::AddRow(device_.confd.running, "l3-a", 161, 60601);
  listening::AddRow(device_.confd.running, "l3-b", 161, 60601);
  Load();
  EXPECT_EQ(60601, handler_->AllocateRedirPort("l3-a"));
  EXPECT_EQ(60600, handler_->AllocateRedirPort("l3-b"));
}

TEST_F(ListenLoadTest, ApplyOfALoadInstallsTheRulesOfEveryRow) {
  EnableAgent(true);
  AddInterface("l3-a", 5, "veth0");
  AddInterface("l3-b", 6, "veth1");
  listening::AddRow(device_.confd.running, "l3-b", 162, 60601);
  listening::AddRow(device_.confd.running, "l3-a", 161, 60600);
  Load();
  handler_->ApplyInitialConfig();
  EXPECT_THAT(device_.Events("rule"),
              ElementsAre("rule add veth0 5 161 60600 2 2", "rule add veth1 6 162 60601 2 2"));
  EXPECT_THAT(FaultLines(), IsEmpty());
}

TEST_F(ListenLoadTest, ApplyWithNothingLoadedOnlyLogs) {
  handler_->ApplyInitialConfig();
  EXPECT_THAT(LogLines(), ElementsAre(listening::Line("ApplyCommitConfig", 10,
                                                      "Applying new configuration for SNMP "
                                                      "listening.")));
}

TEST_F(ListenLoadTest, RecordThatTheNextLoadMissesIsErasedBeforeItsCleanUp) {
  EnableAgent(true);
  LoadOne("l3-old");
  device_.confd.running.Delete("/snmp/agent/listen/interface{l3-old}");
  listening::AddRow(device_.confd.running, "l3-a", 161, 161);
  Load();
  EXPECT_THAT(handler_->Stash().marks, ElementsAre(Pair("l3-a", true), Pair("l3-old", false)));
  ForgetRecords();
  handler_->ApplyInitialConfig();
  EXPECT_THAT(device_.Events("rule"), ElementsAre("rule add veth1 5 161 60600 2 2"))
      << "the rules of the old record are applied once more and never removed";
  EXPECT_THAT(FaultLines(),
              ElementsAre(listening::Fault("CleanupRules",
                                           "map::at: could not del rules for interface "
                                           "l3-old")));
  EXPECT_EQ("fault 0 CleanupRules", device_.journal.back());
  EXPECT_THAT(handler_->Stash().entries, ElementsAre(Pair("l3-a", ::testing::_)));
}

}  // namespace
