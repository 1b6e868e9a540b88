// The target VRF handler: one change that it is told of.

#include <boost/system/system_error.hpp>
#include <stdexcept>

#include "target_vrf_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TargetVrfChangeTest : public TargetVrfTest {
 protected:
  TargetVrfChangeTest() {
    target::Add(Running(), {"t1", "red", "10.0.0.5", 162});
    BeginCommit();
  }
  ~TargetVrfChangeTest() override { device_.confd.pre_commit.reset(); }

  static std::string Handling(const std::string& text) {
    return target::Line("HandleCfgVrf", 10, text);
  }
};

TEST_F(TargetVrfChangeTest, BothSessionsAreOpenedInOrderAndClosed) {
  ChangeEntry("t1", MOP_MODIFIED);
  EXPECT_THAT(device_.journal,
              ElementsAre("session open 1", "session open 4",
                          "log HandleCfgVrf: Called kp /snmp/target{t1}, op 3, socket: 101",
                          "session close", "session close"));
}

TEST_F(TargetVrfChangeTest, LibraryReadsTheSessionThatTheRuleIsFrom) {
  target::Set(Running(), "t1", "udp-port", common::MakeUint16(1162));
  ChangeLeaf("t1", "udp-port");
  const auto& sessions = device_.confd.sessions;
  ASSERT_EQ(2U, sessions.size());
  EXPECT_EQ(CDB_RUNNING, sessions[0].database);
  EXPECT_EQ(CDB_PRE_COMMIT_RUNNING, sessions[1].database);
  const auto& calls = device_.rules.routing_calls;
  ASSERT_EQ(2U, calls.size());
  EXPECT_FALSE(calls[0].add);
  EXPECT_EQ(sessions[1].socket, calls[0].cdb_socket);
  EXPECT_TRUE(calls[1].add);
  EXPECT_EQ(sessions[0].socket, calls[1].cdb_socket);
}

TEST_F(TargetVrfChangeTest, EntryThatIsNotDeletedIsRecursed) {
  for (const confd_iter_op op : {MOP_NOP, MOP_CREATED, MOP_MODIFIED, MOP_VALUE_SET}) {
    ForgetRecords();
    EXPECT_EQ(ITER_RECURSE, ChangeEntry("t1", op));
    EXPECT_EQ(5U, device_.journal.size()) << "two sessions and a record";
  }
}

TEST_F(TargetVrfChangeTest, DeletedTargetHasItsOldRuleRemoved) {
  Running().Delete(target::Entry("t1"));
  EXPECT_EQ(ITER_CONTINUE, ChangeEntry("t1", MOP_DELETED));
  EXPECT_EQ(Handling("Called kp /snmp/target{t1}, op 2, socket: 101"), LogLines()[0]);
  EXPECT_EQ(Handling("leaf->type: 5"), LogLines()[1]);
  EXPECT_EQ(Handling("Removing rules for target t1"), LogLines()[2]);
  EXPECT_EQ(target::Line("AddDelIpRuleIntf", 10, "add: 0 target: t1"), LogLines()[3]);
  EXPECT_THAT(Rules(), ElementsAre("routing rule delete 256 10.0.0.5 162 2"));
}

TEST_F(TargetVrfChangeTest, RuleLeafWithdrawsTheOldRuleAndInstallsTheNew) {
  target::Set(Running(), "t1", "vrf", common::MakeBuf("blue"));
  target::Set(Running(), "t1", "ip", target::Address("10.0.0.9"));
  target::Set(Running(), "t1", "udp-port", common::MakeUint16(1162));
  for (const char* leaf : {"vrf", "ip", "udp-port"}) {
    for (const confd_iter_op op : {MOP_CREATED, MOP_MODIFIED, MOP_VALUE_SET}) {
      ForgetRecords();
      EXPECT_EQ(ITER_CONTINUE, ChangeLeaf("t1", leaf, op));
      EXPECT_THAT(Rules(), ElementsAre("routing rule delete 256 10.0.0.5 162 2",
                                       "routing rule add 7 10.0.0.9 1162 2"))
          << leaf << " " << op;
    }
  }
}

TEST_F(TargetVrfChangeTest, DeletedRuleLeafIsToldWithItsType) {
  Running().Delete(target::Entry("t1") + "/vrf");
  EXPECT_EQ(ITER_CONTINUE, ChangeLeaf("t1", "vrf", MOP_DELETED));
  EXPECT_EQ(Handling("Called kp /snmp/target{t1}/vrf, op 2, socket: 101"), LogLines()[0]);
  EXPECT_EQ(Handling("leaf->type: 2"), LogLines()[1]);
  EXPECT_EQ(target::Line("AddDelIpRuleIntf", 10, "vrf_id: 0 dport: 162 dst_ip: 10.0.0.5"),
            LogLines().back());
  EXPECT_THAT(Rules(), ElementsAre("routing rule delete 256 10.0.0.5 162 2"));
}

TEST_F(TargetVrfChangeTest, OtherLeafIsIgnored) {
  common::TagTable::Global().Define("targetVrfNote", 0x0A1E0001);
  common::TagTable::Global().Define("targetVrfLast", 0x9A1E0001);
  EXPECT_EQ(ITER_RECURSE, ChangeLeaf("t1", "targetVrfNote"));
  EXPECT_EQ(ITER_RECURSE, ChangeLeaf("t1", "targetVrfLast", MOP_DELETED));
  EXPECT_THAT(LogLines(),
              ElementsAre(Handling("Called kp /snmp/target{t1}/targetVrfNote, op 4, socket: 101"),
                          Handling("Ignoring: 169738241"),
                          Handling("Called kp /snmp/target{t1}/targetVrfLast, op 2, socket: 103"),
                          Handling("leaf->type: 2"), Handling("Ignoring: -1709309951")));
  EXPECT_THAT(device_.Events("cdb"), IsEmpty());
}

TEST_F(TargetVrfChangeTest, RuleAddedForAnotherTargetOutlivesTheDeletedOne) {
  target::Add(Running(), {"t2", "red", "10.0.0.5", 162});
  ChangeLeaf("t2", "ip");
  Running().Delete(target::Entry("t1"));
  ChangeEntry("t1", MOP_DELETED);
  EXPECT_THAT(Rules(), ElementsAre("routing rule add 256 10.0.0.5 162 2"));
  handler_.ApplyCommitConfig();
  ChangeEntry("t1", MOP_DELETED);
  EXPECT_EQ("routing rule delete 256 10.0.0.5 162 2", Rules().back()) << "a commit later";
}

TEST_F(TargetVrfChangeTest, PathIsCutTo127Bytes) {
  const std::string name(200, 'n');
  ChangeEntry(name, MOP_CREATED);
  const std::string path = ("/snmp/target{" + name).substr(0, 127);
  EXPECT_THAT(LogLines(), ElementsAre(Handling("Called kp " + path + ", op 1, socket: 101")));
}

TEST_F(TargetVrfChangeTest, SessionsAreClosedBehindAnException) {
  target::Set(Running(), "t1", "ip", common::MakeBuf("1.2.3"));
  EXPECT_THROW(ChangeLeaf("t1", "ip"), boost::system::system_error);
  EXPECT_EQ(2, device_.confd.opened_sessions);
  EXPECT_EQ(2, device_.confd.closed_sessions);
  EXPECT_THAT(Rules(), ElementsAre("routing rule delete 256 10.0.0.5 162 2"));
}

TEST_F(TargetVrfChangeTest, AddressThatIsNoneEndsTheLoad) {
  target::AddRow(Running(), "t1");
  target::Set(Running(), "t1", "ip", common::MakeBuf("1.2.3"));
  EXPECT_THROW(Load(), boost::system::system_error);
  EXPECT_THAT(Rules(), IsEmpty());
}

TEST_F(TargetVrfChangeTest, SessionThatCannotBeOpenedThrows) {
  device_.confd.RefuseNext("session open 4", CONFD_ERR_EXTERNAL, "no session");
  EXPECT_THROW(ChangeLeaf("t1", "ip"), std::runtime_error);
  EXPECT_THAT(LogLines(), IsEmpty());
  EXPECT_EQ(1, device_.confd.closed_sessions);
}

}  // namespace
