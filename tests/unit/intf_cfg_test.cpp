// The interface handler: which changes of L3 interfaces reach the listen handler.

#include "app/intf_cfg.h"

#include <stdexcept>

#include "listen_test.h"
#include "vkconfd/app_interface.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string IntfLine(const std::string& function, const std::string& text) {
  return "snmp-app-l3intf src/app/intf_cfg " + function + " 10 " + text;
}

class IntfCfgTest : public ListenTest {
 protected:
  IntfCfgTest() { ForgetRecords(); }

  confd_iter_ret Change(const std::string& name, confd_iter_op op) {
    const common::OwnedValue key(common::MakeBuf(name));
    confd_hkeypath_t kp = EntryPath({"config", "interface", "l3"}, key.Value());
    return intf_handler_.HandleCfg(&kp, op, nullptr, nullptr);
  }

  IntfCfgHandler intf_handler_{handler_};
};

TEST_F(IntfCfgTest, ConstructionRegistersTheCategoryAndLogs) {
  const IntfCfgHandler handler(handler_);
  EXPECT_THAT(device_.journal,
              ElementsAre("category snmp-app-l3intf", "log IntfCfgHandler: Registered"));
  EXPECT_THAT(LogLines(), ElementsAre(IntfLine("IntfCfgHandler", "Registered")));
  EXPECT_EQ(3, handler_.use_count());
}

TEST_F(IntfCfgTest, BothPointsHaveOneHashAndOnePriority) {
  const std::vector<vkconfd::SubscriptionPoint>& points = intf_handler_.GetSubscriptionPoints();
  ASSERT_EQ(2U, points.size());
  EXPECT_STREQ("/confd_dyncfg:confdConfig/snmpAgent/enabled", points[0].path);
  EXPECT_EQ(0, points[0].iterate_flags);
  EXPECT_STREQ("/config/interface/l3", points[1].path);
  EXPECT_EQ(7, points[1].iterate_flags);
  for (const vkconfd::SubscriptionPoint& point : points) {
    EXPECT_EQ(20, point.priority);
    EXPECT_EQ(0x139627C1, point.ns);
    ForgetRecords();
    confd_hkeypath_t kp = ElementPath({"config"});
    EXPECT_EQ(ITER_CONTINUE, point.callback(&kp, MOP_VALUE_SET, nullptr, nullptr));
    EXPECT_THAT(LogLines(), ElementsAre(IntfLine("HandleCfg", "Called kp /config, op 4"),
                                        IntfLine("HandleCfg", "Not modify")));
  }
}

TEST_F(IntfCfgTest, StartNeitherLoadsNorApplies) {
  intf_handler_.LoadInitialConfig(3);
  intf_handler_.ApplyInitialConfig();
  EXPECT_THAT(device_.journal, IsEmpty());
}

TEST_F(IntfCfgTest, OnlyAModificationCounts) {
  LoadOne();
  for (const confd_iter_op op : {MOP_NOP, MOP_CREATED, MOP_DELETED, MOP_VALUE_SET}) {
    ForgetRecords();
    EXPECT_EQ(ITER_CONTINUE, Change("eth1", op));
    EXPECT_THAT(LogLines(),
                ElementsAre(IntfLine("HandleCfg", "Called kp /config/interface/l3{eth1}, op " +
                                                      std::to_string(op)),
                            IntfLine("HandleCfg", "Not modify")));
    EXPECT_EQ(2U, device_.journal.size());
  }
}

TEST_F(IntfCfgTest, ModifiedInterfaceHasItsListeningRecordRefreshedAndNoOther) {
  LoadOne("l3-eth0");
  listening::AddRow(device_.confd.running, "eth0", 162, 162);
  Load();
  AddInterface("l3-eth0", 7, "v7");
  AddInterface("eth0", 8, "v8");
  ForgetRecords();
  EXPECT_EQ(ITER_CONTINUE, Change("eth0", MOP_MODIFIED));
  EXPECT_EQ(IntfLine("HandleCfg", "Called kp /config/interface/l3{eth0}, op 3"), LogLines()[0]);
  EXPECT_EQ(IntfLine("HandleCfg", "Is modify"), LogLines()[1]);
  EXPECT_EQ(listening::Line("UpdateEntry", 11, "Updating listening interface l3-eth0"),
            LogLines()[2]);
  EXPECT_EQ(7U, Entry("l3-eth0").vrf);
  EXPECT_EQ(0U, Entry("eth0").vrf);
}

TEST_F(IntfCfgTest, ModifiedInterfaceThatIsNotListenedOnIsLogged) {
  Change("eth9", MOP_MODIFIED);
  EXPECT_EQ(listening::Line("UpdateEntry", 11, "Interface l3-eth9 not found on stash map::at"),
            LogLines().back());
}

TEST_F(IntfCfgTest, NullKeyThrows) {
  confd_value_t key = {};
  key.type = C_BUF;
  confd_hkeypath_t kp = EntryPath({"config", "interface", "l3"}, key);
  try {
    intf_handler_.HandleCfg(&kp, MOP_MODIFIED, nullptr, nullptr);
    FAIL() << "no exception";
  } catch (const std::logic_error& error) {
    EXPECT_STREQ("basic_string::_M_construct null not valid", error.what());
  }
}

TEST_F(IntfCfgTest, CommitLogsAndAppliesTheListeningRules) {
  EnableAgent(true);
  LoadOne();
  intf_handler_.StartCommit();
  intf_handler_.ApplyCommitConfig();
  EXPECT_EQ(IntfLine("StartCommit", "Starting commit of L3 interface."), LogLines()[0]);
  EXPECT_EQ(IntfLine("ApplyCommitConfig", "Applying new configuration of L3 interface."),
            LogLines()[1]);
  EXPECT_EQ(
      listening::Line("ApplyCommitConfig", 10, "Applying new configuration for SNMP listening."),
      LogLines()[2]);
  EXPECT_THAT(device_.Events("rule"), ElementsAre("rule add veth1 5 161 60600 2 2"));
}

TEST_F(IntfCfgTest, CommitOfAnInterfaceThatIsNotListenedOnAppliesAllRules) {
  EnableAgent(true);
  LoadOne();
  AddInterface("l3-eth2", 6, "veth2");
  listening::AddRow(device_.confd.running, "l3-eth2", 1161, 60601);
  Load();
  ForgetRecords();
  device_.confd.running.AddEntry("/config/interface/l3", {{"name", common::MakeBuf("eth9")}});
  const vkconfd::AppInterface app(nullptr, nullptr, "app", {handler_.get(), &intf_handler_}, {}, {},
                                  ELEM_CONFD_PHASE_2, 0);
  device_.framework.Commit([](fake::Database& edit) {
    edit.Set("/config/interface/l3{eth9}/vrf", common::MakeBuf("blue"));
  });
  EXPECT_THAT(device_.Events("rule"),
              ElementsAre("rule add veth1 5 161 60600 2 2", "rule add veth2 6 1161 60601 2 2"));
  EXPECT_EQ(1U, device_.Events("log HandleCfg: Is modify").size());
  EXPECT_THAT(FaultLines(), IsEmpty());
}

}  // namespace
