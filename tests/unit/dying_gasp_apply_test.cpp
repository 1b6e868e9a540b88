// The handler of trap targets: what a commit withdraws and installs.

#include "dying_gasp_test.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

class DyingGaspApplyTest : public DyingGaspTest {
 protected:
  /// Starts with these targets.
  void StartWith(const gasp::Lines& names) {
    for (const std::string& name : names) gasp::AddTarget(Running(), name);
    Start();
  }

  static std::string Added(const std::string& name, const std::string& address,
                           const std::string& community = "") {
    return gasp::Line("GetTargets", 10,
                      "Added Target " + name + ", IP " + address + ", community " + community +
                          ", sec_name v2user");
  }
};

TEST_F(DyingGaspApplyTest, StartOfACommitOnlyLogs) {
  StartWith({"t1"});
  handler_.StartCommit();
  EXPECT_THAT(LogLines(),
              ElementsAre(gasp::Line("StartCommit", 10,
                                     "Starting commit of SNMP configuration for dying-gap "
                                     "traps.")));
  EXPECT_EQ(1U, device_.journal.size());
}

TEST_F(DyingGaspApplyTest, RemovalsComeBeforeAdditionsEachInTheOrderOfNames) {
  StartWith({"b", "aa", "Z", "a"});
  Commit([](fake::Database& database) {
    gasp::DeleteTarget(database, "aa");
    gasp::AddTarget(database, "A");
  });
  handler_.UpdateTargets();
  EXPECT_THAT(Apply(),
              ElementsAreArray(gasp::ApplyLines({"Z", "a", "aa", "b"}, {"A", "Z", "a", "b"})));
  EXPECT_EQ(9U, device_.journal.size()) << "nothing but the records";
}

TEST_F(DyingGaspApplyTest, ChangedTargetIsOneRemovalAndOneAddition) {
  StartWith({"t1"});
  Commit([](fake::Database& database) {
    gasp::SetAddress(database, "t1", std::string("\x0a\0\0\x05\x04\x00", 6));
  });
  EXPECT_EQ(ITER_STOP, ChangeRow(MOP_MODIFIED));
  const gasp::Lines lines = LogLines();
  const auto old_target = std::find(lines.begin(), lines.end(), Added("t1", "10.0.0.5:162"));
  const auto new_target = std::find(lines.begin(), lines.end(), Added("t1", "10.0.0.5:1024"));
  ASSERT_NE(lines.end(), new_target);
  EXPECT_LT(old_target, std::find(lines.begin(), lines.end(), gasp::GatheredToRemove(1)));
  EXPECT_GT(new_target, std::find(lines.begin(), lines.end(), gasp::GatheredToRemove(1)));
  EXPECT_EQ(1, Count(*old_target));
  EXPECT_EQ(1, Count(*new_target));
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({"t1"}, {"t1"})));
}

TEST_F(DyingGaspApplyTest, UnchangedTargetsAreWithdrawnAndInstalledAnew) {
  StartWith({"t1", "t2"});
  Commit([](fake::Database& database) { gasp::AddCommunity(database, "unused", "nobody"); });
  EXPECT_EQ(ITER_STOP, ChangeLeaf({"snmp", "port"}, common::MakeUint16(1)));
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({"t1", "t2"}, {"t1", "t2"})));
}

TEST_F(DyingGaspApplyTest, SeveralChangesGatherOnce) {
  StartWith({"t1"});
  Commit([](fake::Database& database) {
    gasp::AddTarget(database, "t2");
    gasp::AddTarget(database, "t3");
  });
  EXPECT_EQ(ITER_STOP, ChangeRow(MOP_CREATED, "t2"));
  EXPECT_EQ(ITER_STOP, ChangeRow(MOP_CREATED, "t3"));
  EXPECT_THAT(device_.Events("session open"), ElementsAre("session open 4", "session open 1"));
  EXPECT_EQ(1, Count(gasp::GatheredToRemove(1)));
  EXPECT_EQ(1, Count(gasp::GatheredToAdd(3)));
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({"t1"}, {"t1", "t2", "t3"})));
}

TEST_F(DyingGaspApplyTest, ApplyEmptiesTheMapsAndHearsTheNextCommit) {
  StartWith({"t1"});
  Commit([](fake::Database& database) {
    gasp::DeleteTarget(database, "t1");
    gasp::AddTarget(database, "t2");
  });
  ChangeRow(MOP_DELETED);
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({"t1"}, {"t2"})));
  EXPECT_THAT(Apply(), IsEmpty());
  Commit([](fake::Database& database) { gasp::DeleteTarget(database, "t2"); });
  EXPECT_EQ(ITER_STOP, ChangeRow(MOP_DELETED, "t2"));
  EXPECT_THAT(LogLines(), Contains(gasp::GatheredToRemove(1)));
  EXPECT_THAT(LogLines(), Contains(gasp::GatheredToAdd(0)));
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({"t2"}, {})));
}

TEST_F(DyingGaspApplyTest, InitialApplyIsTheApplyOfACommit) {
  EnableAgent(true);
  gasp::AddTarget(Running(), "t1");
  Load();
  ForgetRecords();
  handler_.ApplyInitialConfig();
  EXPECT_THAT(LogLines(), ElementsAreArray(gasp::ApplyLines({}, {"t1"})));
  EXPECT_THAT(Apply(), IsEmpty());
}

TEST_F(DyingGaspApplyTest, TargetOfVersionThreeIsInNeitherMap) {
  StartWith({"t1", "t2"});
  gasp::SetModel(Running(), "params-t2", 3);
  Commit();
  handler_.UpdateTargets();
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({"t1"}, {"t1"})));
}

TEST_F(DyingGaspApplyTest, TargetThatIsRejectedNowIsStillWithdrawn) {
  StartWith({"t1"});
  Commit([](fake::Database& database) { gasp::SetModel(database, "params-t1", 3); });
  handler_.UpdateTargets();
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({"t1"}, {})));
}

TEST_F(DyingGaspApplyTest, LongestCommunityIsApplied) {
  gasp::AddCommunity(Running(), std::string(300, 'c'));
  StartWith({"t1"});
  Commit();
  handler_.UpdateTargets();
  EXPECT_THAT(LogLines(), Contains(Added("t1", "10.0.0.5:162", std::string(127, 'c'))));
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({"t1"}, {"t1"})));
  EXPECT_THAT(FaultLines(), IsEmpty());
}

}  // namespace
