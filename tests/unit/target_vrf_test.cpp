// The target VRF handler: construction, index of a VRF, load at start, steps of a commit.

#include "target_vrf_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;

class TargetVrfLoadTest : public TargetVrfTest {
 protected:
  static std::string Loading() {
    return target::Line("LoadInitialConfig", 11, "Loading SNMP target configuration");
  }
  static std::string Getting(const std::string& text) {
    return target::Line("GetTargets", 10, text);
  }

  /// A target and its row.
  void AddBoth(const target::Row& row) {
    target::Add(Running(), row);
    target::AddRow(Running(), row.name);
  }

  uint32_t IndexOf(const std::string& vrf) {
    const int socket = device_.confd.OpenSession(CDB_RUNNING);
    const uint32_t index = handler_.GetTargetVrf(socket, vrf);
    device_.confd.CloseSession(socket);
    return index;
  }
};

TEST_F(TargetVrfLoadTest, ConstructionRegistersTheProgramsCategoryAndLogs) {
  const TargetVrfCfgHandler handler;
  EXPECT_THAT(
      device_.journal,
      ElementsAre("category snmp-app", "log TargetVrfCfgHandler: Target subscription registered"));
  EXPECT_THAT(LogLines(), ElementsAre(target::Line("TargetVrfCfgHandler", 10,
                                                   "Target subscription registered")));
}

TEST_F(TargetVrfLoadTest, SubscribesOnePointThatCallsItsHandler) {
  const std::vector<vkconfd::SubscriptionPoint>& points = handler_.GetSubscriptionPoints();
  ASSERT_EQ(1U, points.size());
  EXPECT_EQ(1, points[0].priority);
  EXPECT_EQ(0x1ECDF09A, points[0].ns);
  EXPECT_STREQ("/snmp/target", points[0].path);
  EXPECT_EQ(0, points[0].iterate_flags);
  BeginCommit();
  const common::OwnedValue key(common::MakeBuf("t1"));
  confd_hkeypath_t kp = EntryPath({"snmp", "target"}, key.Value());
  EXPECT_EQ(ITER_RECURSE, points[0].callback(&kp, MOP_CREATED, nullptr, nullptr));
  EXPECT_THAT(LogLines(), ElementsAre(target::Line("HandleCfgVrf", 10,
                                                   "Called kp /snmp/target{t1}, op 1, socket: "
                                                   "101")));
}

TEST_F(TargetVrfLoadTest, IndexOfAVrfIsRead) {
  EXPECT_EQ(256U, IndexOf("red"));
  EXPECT_THAT(LogLines(), ElementsAre(target::Line("GetTargetVrf", 10, "key: red")));
  EXPECT_THAT(device_.Events("cdb"),
              ElementsAre(std::string("cdb_get ") + target::kVrfs + "{red}/vrf-idx"));
  target::SetVrf(Running(), "last", common::MakeUint32(4294967295U));
  EXPECT_EQ(4294967295U, IndexOf("last"));
  EXPECT_THAT(FaultLines(), IsEmpty());
}

TEST_F(TargetVrfLoadTest, IndexThatCannotBeReadIsAFaultAndZero) {
  device_.confd.RefuseNext("cdb_get /metacli", CONFD_ERR_EXTERNAL, "no table");
  EXPECT_EQ(0U, IndexOf("red"));
  EXPECT_THAT(LogLines(), ElementsAre(target::Line("GetTargetVrf", 10, "key: red")));
  EXPECT_THAT(FaultLines(),
              ElementsAre(target::Fault(0, "GetTargetVrf", "Error getting target vrf - no table")));
}

TEST_F(TargetVrfLoadTest, TextOfTheFaultIsCutTo299Bytes) {
  device_.confd.RefuseNext("cdb_get /metacli", CONFD_ERR_EXTERNAL, std::string(400, 'e'));
  EXPECT_EQ(0U, IndexOf("red"));
  const std::string whole = "Error getting target vrf - " + std::string(400, 'e');
  EXPECT_THAT(FaultLines(), ElementsAre(target::Fault(0, "GetTargetVrf", whole.substr(0, 299))));
}

TEST_F(TargetVrfLoadTest, NoRowsAreSilentWhateverTargetsThereAre) {
  target::Add(Running(), {"t1", "red", "10.0.0.5", 162});
  Load();
  EXPECT_THAT(LogLines(), ElementsAre(Loading()));
  EXPECT_THAT(device_.Events("cdb"), ElementsAre(std::string("cdb_num_instances ") + target::kRows))
      << "the agent's enable flag is not asked for";
}

TEST_F(TargetVrfLoadTest, FailedCountIsSilent) {
  AddBoth({"t1", "red", "10.0.0.5", 162});
  device_.confd.RefuseNext("cdb_num_instances", CONFD_ERR_EXTERNAL, "no table");
  Load();
  EXPECT_THAT(LogLines(), ElementsAre(Loading()));
  EXPECT_THAT(FaultLines(), IsEmpty());
}

TEST_F(TargetVrfLoadTest, EveryTargetInAVrfGetsItsRule) {
  AddBoth({"t1", "red", "10.0.0.5", 162});
  AddBoth({"t2", "", "10.0.0.6", 162});
  AddBoth({"t3", "blue", "10.0.0.7", 65535});
  Load();
  EXPECT_THAT(Rules(), ElementsAre("routing rule add 256 10.0.0.5 162 2",
                                   "routing rule add 7 10.0.0.7 65535 2"));
  EXPECT_EQ(Loading(), LogLines()[0]);
  EXPECT_EQ(Getting("Getting 3 SNMP targets"), LogLines()[1]);
  EXPECT_THAT(LogLines(),
              IsSupersetOf({Getting("target: t1"), Getting("target: t2"), Getting("target: t3")}));
}

TEST_F(TargetVrfLoadTest, ReadsGoInOrderForEachTarget) {
  AddBoth({"t1", "red", "10.0.0.5", 162});
  Load();
  EXPECT_THAT(
      device_.journal,
      ElementsAre("session open 1", "log LoadInitialConfig: Loading SNMP target configuration",
                  std::string("cdb_num_instances ") + target::kRows,
                  "log GetTargets: Getting 1 SNMP targets", "cdb_get_objects /snmp/target",
                  "log GetTargets: target: t1", "log AddDelIpRuleIntf: add: 1 target: t1",
                  "cdb_get_object /snmp/target{t1}",
                  "log AddDelIpRuleIntf: Target: t1 v[1].type: 5", "log AddDelIpRuleIntf: VRF: red",
                  "log GetTargetVrf: key: red",
                  std::string("cdb_get ") + target::kVrfs + "{red}/vrf-idx",
                  "log AddDelIpRuleIntf: address: 10.0.0.5",
                  "log AddDelIpRuleIntf: vrf_id: 256 dport: 162 dst_ip: 10.0.0.5",
                  "iptools new snmp-app", "routing rule add 256 10.0.0.5 162 2", "session close"));
}

TEST_F(TargetVrfLoadTest, FewerRowsThanTargetsLeaveTargetsOut) {
  AddBoth({"t1", "red", "10.0.0.5", 162});
  target::Add(Running(), {"t2", "red", "10.0.0.6", 162});
  Load();
  EXPECT_THAT(Rules(), ElementsAre("routing rule add 256 10.0.0.5 162 2"));
}

TEST_F(TargetVrfLoadTest, MoreRowsThanTargetsAreNoTargets) {
  AddBoth({"t1", "red", "10.0.0.5", 162});
  target::AddRow(Running(), "t2");
  target::AddRow(Running(), "t3");
  Load();
  EXPECT_EQ(Getting("Getting 3 SNMP targets"), LogLines()[1]);
  EXPECT_THAT(device_.Events("log GetTargets: target"), ElementsAre("log GetTargets: target: t1"));
  EXPECT_THAT(Rules(), ElementsAre("routing rule add 256 10.0.0.5 162 2"));
}

TEST_F(TargetVrfLoadTest, FailedReadOfTheTargetsIsNotChecked) {
  AddBoth({"t1", "red", "10.0.0.5", 162});
  device_.confd.RefuseNext("cdb_get_objects", CONFD_ERR_EXTERNAL, "no targets");
  Load();
  EXPECT_THAT(LogLines(), ElementsAre(Loading(), Getting("Getting 1 SNMP targets")));
  EXPECT_THAT(FaultLines(), IsEmpty());
}

TEST_F(TargetVrfLoadTest, NameIsCutTo127Bytes) {
  const std::string name(200, 'n');
  AddBoth({name, "red", "10.0.0.5", 162});
  Load();
  const std::string cut = name.substr(0, 127);
  EXPECT_EQ(Getting("target: " + cut), LogLines()[2]);
  EXPECT_EQ(target::Line("AddDelIpRuleIntf", 10, target::Entry(cut) + " does not exist"),
            LogLines().back());
}

TEST_F(TargetVrfLoadTest, StepsOfACommitOnlyLog) {
  handler_.StartCommit();
  handler_.ApplyCommitConfig();
  handler_.ApplyInitialConfig();
  const std::string apply =
      target::Line("ApplyCommitConfig", 10, "Apply commit of SNMP configuration.");
  EXPECT_THAT(LogLines(),
              ElementsAre(target::Line("StartCommit", 10, "Starting commit of SNMP configuration."),
                          apply, apply));
  EXPECT_EQ(3U, device_.journal.size());
}

/// The rule that was loaded is forgotten, so that its removal goes through, by either apply.
TEST_F(TargetVrfLoadTest, LoadedRuleStaysUntilTheFirstApply) {
  AddBoth({"t1", "red", "10.0.0.5", 162});
  for (const bool initial : {true, false}) {
    Load();
    ForgetRecords();
    handler_.StartCommit();
    ChangeRule(false, "t1");
    EXPECT_THAT(Rules(), IsEmpty());
    initial ? handler_.ApplyInitialConfig() : handler_.ApplyCommitConfig();
    ChangeRule(false, "t1");
    EXPECT_THAT(Rules(), ElementsAre("routing rule delete 256 10.0.0.5 162 2"));
  }
}

}  // namespace
