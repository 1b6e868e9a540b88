// The handler of trap targets: the agent's enable flag.

#include <stdexcept>

#include "dying_gasp_test.h"

namespace {

using gasp::operator+;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

class DyingGaspEnableTest : public DyingGaspTest {
 protected:
  DyingGaspEnableTest() {
    gasp::AddCommunity(Running(), "public");
    gasp::AddTarget(Running(), "t1");
  }

  static std::string Gathered(size_t count, const std::string& what) {
    return gasp::Line(
        "HandleCfg", 11,
        "Gathered " + std::to_string(count) + " targets to be " + what + " dying-gasp driver");
  }

  static gasp::Lines Called(const std::string& value) {
    return {gasp::Line("HandleCfg", 10, "Called kp /confdConfig/snmpAgent/enabled, op 4"),
            gasp::Line("HandleCfg", 10, "New value: " + value)};
  }

  /// Loads with a disabled agent, and forgets all records.
  void StartDisabled() {
    EnableAgent(false);
    Load();
    ForgetRecords();
  }

  /// Tells of the flag as of an entry that came or went.
  confd_iter_ret ChangeEntry(confd_iter_op op, bool enabled) {
    confd_hkeypath_t kp =
        EntryPath({"confdConfig", "snmpAgent", "enabled"}, common::MakeBool(enabled));
    return handler_.HandleCfg(&kp, op, nullptr, nullptr);
  }

  static gasp::Lines UpdateLines() {
    return gasp::GatheringLines() + gasp::Lines{gasp::GatheredToRemove(1)} +
           gasp::GatheringLines() + gasp::Lines{gasp::GatheredToAdd(1)};
  }
};

TEST_F(DyingGaspEnableTest, EnablingGathersTheTargetsAndThenBothMaps) {
  StartDisabled();
  Commit();
  EXPECT_EQ(ITER_STOP, ChangeEnabled(true));
  EXPECT_THAT(LogLines(), ElementsAreArray(Called("true") + gasp::GatheringLines() +
                                           gasp::Lines{Gathered(1, "added into")} + UpdateLines()));
  EXPECT_THAT(device_.Events("session"),
              ElementsAre("session open 1", "session close", "session open 4", "session open 1",
                          "session close", "session close"));
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({"t1"}, {"t1"})));
}

TEST_F(DyingGaspEnableTest, DisablingGathersForRemovalAndTellsTheOtherMapsSize) {
  Start();
  Commit();
  EXPECT_EQ(ITER_STOP, ChangeEnabled(false));
  EXPECT_THAT(LogLines(), ElementsAreArray(Called("false") + gasp::GatheringLines() +
                                           gasp::Lines{Gathered(0, "removed from")}));
  EXPECT_THAT(device_.Events("session"), ElementsAre("session open 1", "session close"));
}

TEST_F(DyingGaspEnableTest, SizeThatDisablingTellsIsThatOfTheAdditions) {
  StartDisabled();
  gasp::AddTarget(Running(), "t2");
  Commit();
  device_.confd.RefuseNext("session open 4", CONFD_ERR_EXTERNAL, "no session");
  EXPECT_THROW(ChangeEnabled(true), std::runtime_error);
  ForgetRecords();
  gasp::DeleteTarget(Running(), "t2");
  EXPECT_EQ(ITER_STOP, ChangeEnabled(false));
  EXPECT_EQ(Gathered(2, "removed from"), LogLines().back())
      << "two were left to add, one is to be removed";
}

TEST_F(DyingGaspEnableTest, ApplyBehindDisablingDoesNothing) {
  Start();
  Commit();
  ChangeEnabled(false);
  EXPECT_THAT(Apply(), IsEmpty());
}

TEST_F(DyingGaspEnableTest, ChangesBehindDisablingAreHeardAndGatherNothing) {
  Start();
  Commit();
  ChangeEnabled(false);
  ForgetRecords();
  EXPECT_EQ(ITER_STOP, ChangeRow(MOP_MODIFIED));
  EXPECT_EQ(1U, LogLines().size());
  EXPECT_THAT(device_.Events("session"), IsEmpty());
}

TEST_F(DyingGaspEnableTest, RemovalsOfDisablingWaitForTheApplyOfALaterGathering) {
  Start();
  Commit();
  ChangeEnabled(false);
  handler_.ApplyCommitConfig();
  gasp::DeleteTarget(Running(), "t1");
  gasp::AddTarget(Running(), "t2");
  ForgetRecords();
  Commit();
  ChangeEnabled(true);
  EXPECT_THAT(LogLines(), Contains(Gathered(1, "added into")));
  EXPECT_THAT(LogLines(), Contains(gasp::GatheredToRemove(2)));
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({"t1", "t2"}, {"t2"})));
}

TEST_F(DyingGaspEnableTest, RemovalsOfDisablingAreReplacedByWhatIsReadLater) {
  Start();
  Commit();
  ChangeEnabled(false);
  Commit();
  ChangeEnabled(true);
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({"t1"}, {"t1"})));
}

TEST_F(DyingGaspEnableTest, FlagOfACreatedOrDeletedElementIsTheKeyItself) {
  for (const confd_iter_op op : {MOP_CREATED, MOP_DELETED}) {
    StartDisabled();
    Commit();
    EXPECT_EQ(ITER_STOP, ChangeEntry(op, true));
    const std::string called = "Called kp /confdConfig/snmpAgent/enabled{true}, op ";
    EXPECT_THAT(
        LogLines(),
        ElementsAreArray(gasp::Lines{gasp::Line("HandleCfg", 10, called + std::to_string(op))} +
                         gasp::GatheringLines() + gasp::Lines{Gathered(1, "added into")} +
                         UpdateLines()));
    handler_.ApplyCommitConfig();
    ForgetRecords();
    EXPECT_EQ(ITER_STOP, ChangeEntry(op, false));
    EXPECT_EQ(Gathered(0, "removed from"), LogLines().back());
  }
}

TEST_F(DyingGaspEnableTest, CommunitiesOfTheFirstGatheringDoNotServeTheSecond) {
  StartDisabled();
  Commit([](fake::Database& database) {
    database.Delete(std::string(gasp::kCommunities) + "{public}");
  });
  const std::string without =
      gasp::Line("GetTargets", 10, "Added Target t1, IP 10.0.0.5:162, community , sec_name v2user");
  const std::string with = gasp::Line(
      "GetTargets", 10, "Added Target t1, IP 10.0.0.5:162, community public, sec_name v2user");
  ChangeEnabled(true);
  EXPECT_EQ(1, Count(without)) << "read on its own from the new configuration";
  EXPECT_EQ(2, Count(with)) << "old, and new with the old communities";
}

}  // namespace
