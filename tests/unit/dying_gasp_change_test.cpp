// The handler of trap targets: the changes that it is told of.

#include <stdexcept>

#include "dying_gasp_test.h"

namespace {

using gasp::operator+;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr char kRow[] = "/SNMP-TARGET-MIB/snmpTargetAddrTable/snmpTargetAddrEntry{t1}";

class DyingGaspChangeTest : public DyingGaspTest {
 protected:
  DyingGaspChangeTest() {
    gasp::AddCommunity(Running(), "public");
    gasp::AddTarget(Running(), "t1");
  }

  static std::string Handle(int level, const std::string& text) {
    return gasp::Line("HandleCfg", level, text);
  }

  static std::string Called(int op) {
    return Handle(10, std::string("Called kp ") + kRow + ", op " + std::to_string(op));
  }

  /// Expects that the last change, behind these lines, had both maps gathered in two sessions.
  void ExpectUpdated(const gasp::Lines& before) {
    const gasp::Lines gathering = gasp::GatheringLines();
    EXPECT_THAT(LogLines(),
                ElementsAreArray(before + gathering + gasp::Lines{gasp::GatheredToRemove(1)} +
                                 gathering + gasp::Lines{gasp::GatheredToAdd(1)}));
    EXPECT_THAT(device_.Events("session"),
                ElementsAre("session open 4", "session open 1", "session close", "session close"));
    EXPECT_THAT(FaultLines(), IsEmpty());
  }
};

TEST_F(DyingGaspChangeTest, ModifiedCreatedAndDeletedRowsHaveTheTargetsGathered) {
  for (const confd_iter_op op : {MOP_MODIFIED, MOP_CREATED, MOP_DELETED}) {
    Start();
    Commit();
    EXPECT_EQ(ITER_STOP, ChangeRow(op));
    ExpectUpdated({Called(op)});
    handler_.ApplyCommitConfig();
  }
}

TEST_F(DyingGaspChangeTest, NewValueOfAnyOtherLeafHasTheTargetsGathered) {
  Start();
  Commit();
  EXPECT_EQ(ITER_STOP, ChangeLeaf({"snmp", "port"}, common::MakeUint16(1)));
  ExpectUpdated({Handle(10, "Called kp /snmp/port, op 4"), Handle(10, "New value: 1")});
}

TEST_F(DyingGaspChangeTest, RunningIsOpenedWhileTheOldConfigurationIsStillOpen) {
  Start();
  Commit();
  handler_.UpdateTargets();
  gasp::Lines events;
  for (const std::string& event : device_.journal) {
    const bool gathered = event.rfind("log UpdateTargets: ", 0) == 0;
    if (gathered || event.rfind("session", 0) == 0) events.push_back(event);
  }
  EXPECT_THAT(
      events,
      ElementsAre("session open 4",
                  "log UpdateTargets: Gathered 1 targets to be removed from dying-gasp driver",
                  "session open 1",
                  "log UpdateTargets: Gathered 1 targets to be added into dying-gasp driver",
                  "session close", "session close"));
}

TEST_F(DyingGaspChangeTest, OtherOperationIsIgnored) {
  Start();
  Commit();
  for (const int op : {0, 5, 6}) {
    ForgetRecords();
    EXPECT_EQ(ITER_CONTINUE, ChangeRow(static_cast<confd_iter_op>(op)));
    EXPECT_THAT(LogLines(),
                ElementsAre(Called(op), Handle(12, "Ignored operation " + std::to_string(op))));
    EXPECT_THAT(device_.Events("session"), IsEmpty());
  }
}

TEST_F(DyingGaspChangeTest, FurtherChangesOfACommitAreStoppedAtOnce) {
  Start();
  Commit();
  ChangeRow(MOP_MODIFIED);
  ForgetRecords();
  for (const int op : {0, 1, 2, 3, 4, 5}) {
    EXPECT_EQ(ITER_STOP, ChangeRow(static_cast<confd_iter_op>(op)));
  }
  EXPECT_EQ(ITER_STOP, ChangeEnabled(false));
  EXPECT_THAT(device_.journal, IsEmpty());
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({"t1"}, {"t1"})));
}

TEST_F(DyingGaspChangeTest, DisabledAgentHasNothingGatheredAndTheNextChangeIsHeard) {
  EnableAgent(false);
  Load();
  Commit();
  for (const confd_iter_op op : {MOP_CREATED, MOP_DELETED, MOP_MODIFIED}) {
    ForgetRecords();
    EXPECT_EQ(ITER_STOP, ChangeRow(op));
    EXPECT_THAT(LogLines(), ElementsAre(Called(op)));
    EXPECT_THAT(device_.Events("session"), IsEmpty());
  }
  EXPECT_THAT(Apply(), IsEmpty());
}

TEST_F(DyingGaspChangeTest, DeletedCommunityStillServesTheNewTargets) {
  Start();
  Commit([](fake::Database& database) {
    database.Delete(std::string(gasp::kCommunities) + "{public}");
    gasp::AddTarget(database, "t2");
  });
  handler_.UpdateTargets();
  EXPECT_THAT(LogLines(), Contains(gasp::Line("GetCommunities", 10, "Getting 0 SNMP communities")));
  EXPECT_EQ(1, Count(gasp::Line("GetTargets", 10,
                                "Added Target t2, IP 10.0.0.5:162, community public, sec_name "
                                "v2user")));
}

TEST_F(DyingGaspChangeTest, NewSecurityNameOfACommunityReplacesTheOldOne) {
  Start();
  Commit([](fake::Database& database) {
    database.Set(gasp::Row(gasp::kCommunities, "public", "snmpCommunitySecurityName"),
                 common::MakeBuf("other"));
  });
  handler_.UpdateTargets();
  const std::string added = "Added Target t1, IP 10.0.0.5:162, community ";
  EXPECT_EQ(1, Count(gasp::Line("GetTargets", 10, added + "public, sec_name v2user")));
  EXPECT_EQ(1, Count(gasp::Line("GetTargets", 10, added + ", sec_name v2user")));
}

TEST_F(DyingGaspChangeTest, EveryUpdateHasCommunitiesOfItsOwn) {
  Start();
  Commit([](fake::Database& database) {
    database.Delete(std::string(gasp::kCommunities) + "{public}");
  });
  handler_.UpdateTargets();
  handler_.ApplyCommitConfig();
  ForgetRecords();
  Commit();
  handler_.UpdateTargets();
  EXPECT_EQ(2, Count(gasp::Line("GetTargets", 10,
                                "Added Target t1, IP 10.0.0.5:162, community , sec_name v2user")));
}

TEST_F(DyingGaspChangeTest, ModelOfVersionThreeIsToldByEachOfTheTwoGatherings) {
  gasp::SetModel(Running(), "params-t1", 3);
  Start();
  Commit();
  handler_.UpdateTargets();
  EXPECT_EQ(2,
            Count(gasp::Line("GetTargetEntry", 12, "Only SNMPv2 supported for dying-gasp trap")));
  EXPECT_EQ(1, Count(gasp::GatheredToRemove(0)));
  EXPECT_EQ(1, Count(gasp::GatheredToAdd(0)));
}

TEST_F(DyingGaspChangeTest, SessionThatCannotBeOpenedLeavesTheUpdateUndone) {
  for (const char* session : {"session open 4", "session open 1"}) {
    Start();
    Commit();
    device_.confd.RefuseNext(session, CONFD_ERR_EXTERNAL, "no session");
    EXPECT_THROW(handler_.UpdateTargets(), std::runtime_error);
    EXPECT_EQ(device_.confd.opened_sessions, device_.confd.closed_sessions);
    EXPECT_THAT(Apply(), IsEmpty()) << session;
  }
}

TEST_F(DyingGaspChangeTest, KeyPathIsCutTo127BytesAndPrintedAlways) {
  device_.log.threshold = 11;
  ChangeRow(MOP_NOP, std::string(200, 'n'));
  EXPECT_EQ(1, device_.confd.printed_key_paths);
  device_.log.threshold = 0;
  ForgetRecords();
  ChangeRow(MOP_NOP, std::string(200, 'n'));
  const std::string list = "/SNMP-TARGET-MIB/snmpTargetAddrTable/snmpTargetAddrEntry{";
  EXPECT_EQ(Handle(10, "Called kp " + list + std::string(127 - list.size(), 'n') + ", op 0"),
            LogLines()[0]);
}

TEST_F(DyingGaspChangeTest, NewValueIsCutTo8191Bytes) {
  ChangeLeaf({"snmp", "port"}, common::MakeBuf(std::string(9000, 'v')));
  EXPECT_EQ(Handle(10, "New value: " + std::string(8191, 'v')), LogLines().back());
}

TEST_F(DyingGaspChangeTest, NewValueIsOnlyPrintedWhenItIsLogged) {
  device_.log.threshold = 11;
  ChangeLeaf({"snmp", "port"}, common::MakeUint16(1));
  EXPECT_EQ(0, device_.confd.printed_values);
  device_.log.threshold = 10;
  ChangeLeaf({"snmp", "port"}, common::MakeUint16(1));
  EXPECT_EQ(1, device_.confd.printed_values);
}

TEST_F(DyingGaspChangeTest, CreatedAndDeletedPrintNoValue) {
  ChangeRow(MOP_CREATED);
  ChangeRow(MOP_DELETED);
  EXPECT_EQ(0, device_.confd.printed_values);
  EXPECT_THAT(LogLines(), Not(Contains(::testing::HasSubstr("New value"))));
}

}  // namespace
