// The handler of trap targets: construction and the load at start.

#include "dying_gasp_test.h"

namespace {

using gasp::operator+;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

class DyingGaspLoadTest : public DyingGaspTest {
 protected:
  DyingGaspLoadTest() {
    gasp::AddCommunity(Running(), "public");
    gasp::AddTarget(Running(), "t1");
  }

  /// What a load logs before it gathers.
  static gasp::Lines Loading(bool has_flag = true) {
    gasp::Lines lines;
    if (has_flag) lines.push_back(gasp::Line("LoadInitialConfig", 10, "Agent is enabled: 1"));
    return lines + gasp::Lines{gasp::Line("LoadInitialConfig", 11,
                                          "Loading SNMP target configuration for dying-gasp "
                                          "traps")};
  }
};

TEST_F(DyingGaspLoadTest, ConstructionRegistersTheCategoryOnly) {
  const DyingGaspTrapCfgHandler handler;
  EXPECT_THAT(device_.journal, ElementsAre("category snmp-app-dying-gasp"));
}

TEST_F(DyingGaspLoadTest, SubscribesFourPointsInOrder) {
  const struct {
    const char* path;
    int32_t ns;
    int32_t flags;
  } expected[] = {{gasp::kEnabled, 0x11E87650, 0},
                  {gasp::kCommunities, 0x1E0709BF, 3},
                  {gasp::kParams, 0x54A1ACA8, 3},
                  {gasp::kTargets, 0x54A1ACA8, 3}};
  const std::vector<vkconfd::SubscriptionPoint>& points = handler_.GetSubscriptionPoints();
  ASSERT_EQ(4U, points.size());
  for (size_t i = 0; i < points.size(); ++i) {
    EXPECT_EQ(30, points[i].priority) << i;
    EXPECT_STREQ(expected[i].path, points[i].path) << i;
    EXPECT_EQ(expected[i].ns, points[i].ns) << i;
    EXPECT_EQ(expected[i].flags, points[i].iterate_flags) << i;
  }
}

TEST_F(DyingGaspLoadTest, EveryPointPassesItsArgumentsToItsHandler) {
  for (const vkconfd::SubscriptionPoint& point : handler_.GetSubscriptionPoints()) {
    ForgetRecords();
    confd_hkeypath_t kp = ElementPath({"snmp", "agent"});
    confd_value_t old_value = common::MakeUint16(1);
    confd_value_t new_value = common::MakeUint16(2);
    EXPECT_EQ(ITER_STOP, point.callback(&kp, MOP_VALUE_SET, &old_value, &new_value));
    EXPECT_THAT(LogLines(), ElementsAre(gasp::Line("HandleCfg", 10, "Called kp /snmp/agent, op 4"),
                                        gasp::Line("HandleCfg", 10, "New value: 2")));
  }
}

TEST_F(DyingGaspLoadTest, NewHandlerIsDisabledAndHasNothingPending) {
  EnableAgent(true);
  Commit();
  handler_.UpdateTargets();
  handler_.ApplyCommitConfig();
  handler_.ApplyInitialConfig();
  EXPECT_THAT(device_.journal, IsEmpty());
  EXPECT_EQ(ITER_CONTINUE, ChangeRow(MOP_NOP)) << "not stopped by a pending update";
}

TEST_F(DyingGaspLoadTest, EnabledAgentHasEveryTargetGatheredForTheFirstApply) {
  EnableAgent(true);
  Load();
  EXPECT_THAT(LogLines(), ElementsAreArray(Loading() + gasp::GatheringLines()));
  EXPECT_THAT(FaultLines(), IsEmpty());
  ForgetRecords();
  handler_.ApplyInitialConfig();
  EXPECT_THAT(LogLines(), ElementsAreArray(gasp::ApplyLines({}, {"t1"})));
}

TEST_F(DyingGaspLoadTest, ReadsGoInOrderOnTheGivenSocket) {
  EnableAgent(true);
  Load();
  const std::string communities = gasp::kCommunities;
  const std::string targets = gasp::kTargets;
  const std::string params = gasp::kParams;
  EXPECT_THAT(
      device_.Events("cdb"),
      ElementsAre(std::string("cdb_get ") + gasp::kEnabled, "cdb_num_instances " + communities,
                  "cdb_get_str " + communities + "[0]/snmpCommunityIndex",
                  "cdb_get_str " + communities + "[0]/snmpCommunitySecurityName",
                  "cdb_num_instances " + targets,
                  "cdb_get_str " + targets + "[0]/snmpTargetAddrName",
                  "cdb_get_str " + targets + "{t1}/snmpTargetAddrParams",
                  "cdb_get_str " + params + "{params-t1}/snmpTargetParamsSecurityName",
                  "cdb_get_int32 " + params + "{params-t1}/snmpTargetParamsMPModel",
                  "cdb_get_binary " + targets + "{t1}/snmpTargetAddrTAddress"));
  EXPECT_THAT(device_.Events("session"), ElementsAre("session open 1", "session close"));
}

TEST_F(DyingGaspLoadTest, LoadLeavesItsTargetsPending) {
  EnableAgent(true);
  Load();
  ForgetRecords();
  Commit();
  EXPECT_EQ(ITER_STOP, ChangeRow(MOP_MODIFIED));
  EXPECT_THAT(device_.journal, IsEmpty());
}

TEST_F(DyingGaspLoadTest, DisabledAgentHasNothingGathered) {
  EnableAgent(false);
  Load();
  EXPECT_THAT(LogLines(), ElementsAre(gasp::Line("LoadInitialConfig", 10, "Agent is enabled: 0")));
  EXPECT_THAT(device_.Events("cdb"), ElementsAre(std::string("cdb_get ") + gasp::kEnabled));
  EXPECT_THAT(Apply(), IsEmpty());
  Commit();
  EXPECT_EQ(ITER_STOP, ChangeRow(MOP_MODIFIED));
  EXPECT_THAT(Apply(), IsEmpty());
}

TEST_F(DyingGaspLoadTest, FlagThatCannotBeReadIsSilentlyDisabledAtFirst) {
  EnableAgent(true);
  device_.confd.RefuseNext("cdb_get /confd", CONFD_ERR_EXTERNAL, "no flag");
  Load();
  EXPECT_THAT(LogLines(), IsEmpty());
  EXPECT_THAT(FaultLines(), IsEmpty());
  EXPECT_THAT(device_.Events("cdb"), ElementsAre(std::string("cdb_get ") + gasp::kEnabled));
}

TEST_F(DyingGaspLoadTest, FlagThatCannotBeReadKeepsItsValue) {
  Start();
  device_.confd.RefuseNext("cdb_get /confd", CONFD_ERR_EXTERNAL, "no flag");
  Load();
  EXPECT_THAT(LogLines(), ElementsAreArray(Loading(false) + gasp::GatheringLines()));
  EXPECT_THAT(FaultLines(), IsEmpty());
}

TEST_F(DyingGaspLoadTest, FlagThatIsReadFalseDisablesAgain) {
  Start();
  EnableAgent(false);
  Load();
  ForgetRecords();
  Commit();
  handler_.UpdateTargets();
  EXPECT_THAT(device_.journal, IsEmpty());
}

TEST_F(DyingGaspLoadTest, EveryLoadHasCommunitiesOfItsOwn) {
  Start();
  Running().Delete(gasp::kCommunities + std::string("{public}"));
  Load();
  EXPECT_EQ(
      gasp::Line("GetTargets", 10, "Added Target t1, IP 10.0.0.5:162, community , sec_name v2user"),
      LogLines().back());
}

TEST_F(DyingGaspLoadTest, NothingConfiguredIsAnEmptyUpdate) {
  Running() = fake::Database();
  EnableAgent(true);
  Load();
  EXPECT_THAT(LogLines(), ElementsAreArray(Loading() + gasp::GatheringLines(false, false)));
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({}, {})));
}

}  // namespace
