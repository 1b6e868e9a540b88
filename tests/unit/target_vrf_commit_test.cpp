// Whole commits: what the target VRF handler makes of what the framework delivers.

#include "target_vrf_test.h"
#include "vkconfd/app_interface.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kOldRule[] = "routing rule delete 256 10.0.0.5 162 2";

class TargetVrfCommitTest : public TargetVrfTest {
 protected:
  void Commit(const std::function<void(fake::Database&)>& edit) {
    ForgetRecords();
    device_.framework.Commit(edit);
    EXPECT_THAT(FaultLines(), IsEmpty());
    EXPECT_EQ(device_.confd.opened_sessions, device_.confd.closed_sessions);
  }

  void CommitTarget(const target::Row& row) {
    Commit([&row](fake::Database& edit) { target::Add(edit, row); });
  }

  /// A commit that gives leaves of t1 new values.
  void CommitLeaves(const std::vector<std::pair<std::string, confd_value_t>>& leaves) {
    Commit([&leaves](fake::Database& edit) {
      for (const auto& [leaf, value] : leaves) target::Set(edit, "t1", leaf, value);
    });
  }

  void CommitWithout(const std::string& path) {
    Commit([&path](fake::Database& edit) { edit.Delete(path); });
  }

  vkconfd::AppInterface app_{nullptr, nullptr, "app", {&handler_}, {}, {}, ELEM_CONFD_PHASE_2, 0};
};

TEST_F(TargetVrfCommitTest, NewTargetIsOneAdditionForEachRuleLeaf) {
  CommitTarget({"t1", "red", "10.0.0.5", 162});
  const std::string added = "routing rule add 256 10.0.0.5 162 2";
  EXPECT_THAT(Rules(), ElementsAre(added, added, added));
  EXPECT_THAT(device_.Events("log HandleCfgVrf: Called kp"),
              ElementsAre("log HandleCfgVrf: Called kp /snmp/target{t1}, op 1, socket: 101",
                          "log HandleCfgVrf: Called kp /snmp/target{t1}/vrf, op 4, socket: 103",
                          "log HandleCfgVrf: Called kp /snmp/target{t1}/ip, op 4, socket: 105",
                          "log HandleCfgVrf: Called kp /snmp/target{t1}/udp-port, op 4, socket: "
                          "107"));
  EXPECT_EQ(3U, device_.Events("log AddDelIpRuleIntf: /snmp/target{t1} does not exist").size());
}

TEST_F(TargetVrfCommitTest, NewTargetWithoutVrfIsOnlyLogged) {
  CommitTarget({"t1", "", "10.0.0.5", 162});
  EXPECT_EQ(2U, device_.Events("log AddDelIpRuleIntf: add: 1 target: t1").size());
  EXPECT_THAT(Rules(), IsEmpty());
}

TEST_F(TargetVrfCommitTest, NewTargetWithAnIpv6AddressIsOnlyLogged) {
  CommitTarget({"t1", "red", "2001:db8::1", 162});
  EXPECT_EQ(
      3U,
      device_.Events("log AddDelIpRuleIntf: vrf_id: 256 dport: 162 dst_ip: 2001:db8::1").size());
  EXPECT_THAT(Rules(), IsEmpty());
}

TEST_F(TargetVrfCommitTest, CommitStartsAndIsAppliedOnce) {
  CommitTarget({"t1", "red", "10.0.0.5", 162});
  EXPECT_EQ("log StartCommit: Starting commit of SNMP configuration.", device_.journal.front());
  EXPECT_EQ("log ApplyCommitConfig: Apply commit of SNMP configuration.", device_.journal.back());
  EXPECT_EQ(1U, device_.Events("log StartCommit").size());
  EXPECT_EQ(1U, device_.Events("log ApplyCommitConfig").size());
}

TEST_F(TargetVrfCommitTest, ChangedPortIsOneRemovalAndOneAddition) {
  CommitTarget({"t1", "red", "10.0.0.5", 162});
  CommitLeaves({{"udp-port", common::MakeUint16(1162)}});
  EXPECT_THAT(Rules(), ElementsAre(kOldRule, "routing rule add 256 10.0.0.5 1162 2"));
}

TEST_F(TargetVrfCommitTest, TwoChangedLeavesRemoveAndAddTwice) {
  CommitTarget({"t1", "red", "10.0.0.5", 162});
  CommitLeaves({{"vrf", common::MakeBuf("blue")}, {"udp-port", common::MakeUint16(1162)}});
  const std::string added = "routing rule add 7 10.0.0.5 1162 2";
  EXPECT_THAT(Rules(), ElementsAre(kOldRule, added, kOldRule, added));
}

TEST_F(TargetVrfCommitTest, LeavesThatChangeBackAndForthLeaveNothingBehind) {
  CommitTarget({"t1", "red", "10.0.0.5", 162});
  CommitLeaves({{"udp-port", common::MakeUint16(1162)}});
  CommitLeaves({{"udp-port", common::MakeUint16(162)}});
  EXPECT_THAT(Rules(), ElementsAre("routing rule delete 256 10.0.0.5 1162 2",
                                   "routing rule add 256 10.0.0.5 162 2"));
}

TEST_F(TargetVrfCommitTest, RemovedVrfRemovesTheRule) {
  CommitTarget({"t1", "red", "10.0.0.5", 162});
  CommitWithout(target::Entry("t1") + "/vrf");
  EXPECT_THAT(Rules(), ElementsAre(kOldRule));
  EXPECT_EQ(1U, device_.Events("log HandleCfgVrf: leaf->type: 2").size());
}

TEST_F(TargetVrfCommitTest, NewVrfAddsTheRule) {
  CommitTarget({"t1", "", "10.0.0.5", 162});
  CommitLeaves({{"vrf", common::MakeBuf("blue")}});
  EXPECT_THAT(Rules(), ElementsAre("routing rule add 7 10.0.0.5 162 2"));
}

TEST_F(TargetVrfCommitTest, DeletedTargetRemovesItsRuleOnce) {
  CommitTarget({"t1", "red", "10.0.0.5", 162});
  CommitWithout(target::Entry("t1"));
  EXPECT_THAT(Rules(), ElementsAre(kOldRule));
  EXPECT_EQ(1U, device_.Events("log HandleCfgVrf: Called").size());
}

TEST_F(TargetVrfCommitTest, IndexIsThatOfItsOwnConfiguration) {
  CommitTarget({"t1", "red", "10.0.0.5", 162});
  Commit([](fake::Database& edit) {
    target::SetVrf(edit, "red", common::MakeUint32(300));
    target::Set(edit, "t1", "udp-port", common::MakeUint16(1162));
  });
  EXPECT_THAT(Rules(), ElementsAre(kOldRule, "routing rule add 300 10.0.0.5 1162 2"));
}

TEST_F(TargetVrfCommitTest, TargetThatReplacesAnotherHasItsRuleInTheEnd) {
  CommitTarget({"t1", "red", "10.0.0.5", 162});
  Commit([](fake::Database& edit) {
    edit.Delete(target::Entry("t1"));
    target::Add(edit, {"t2", "red", "10.0.0.5", 162});
  });
  ASSERT_EQ(4U, Rules().size());
  EXPECT_EQ(kOldRule, Rules()[0]);
  EXPECT_EQ("routing rule add 256 10.0.0.5 162 2", Rules()[3]);
}

TEST_F(TargetVrfCommitTest, RuleThatMovesToAnEarlierTargetIsNotRemovedForTheLater) {
  CommitTarget({"t1", "red", "10.0.0.4", 162});
  CommitTarget({"t2", "red", "10.0.0.5", 162});
  Commit([](fake::Database& edit) {
    target::Set(edit, "t1", "ip", target::Address("10.0.0.5"));
    target::Set(edit, "t2", "ip", target::Address("10.0.0.6"));
  });
  EXPECT_THAT(Rules(), ElementsAre("routing rule delete 256 10.0.0.4 162 2",
                                   "routing rule add 256 10.0.0.5 162 2",
                                   "routing rule add 256 10.0.0.6 162 2"));
}

TEST_F(TargetVrfCommitTest, RuleOfTheLoadIsKeptByTheFirstCommitOnly) {
  CommitTarget({"t1", "red", "10.0.0.5", 162});
  target::AddRow(Running(), "t1");
  Load();
  CommitLeaves({{"udp-port", common::MakeUint16(1162)}});
  EXPECT_THAT(Rules(), ElementsAre("routing rule add 256 10.0.0.5 1162 2"));
  CommitLeaves({{"udp-port", common::MakeUint16(162)}});
  EXPECT_EQ("routing rule delete 256 10.0.0.5 1162 2", Rules()[0]);
}

TEST_F(TargetVrfCommitTest, StartLoadsAndForgets) {
  target::Add(Running(), {"t1", "red", "10.0.0.5", 162});
  target::AddRow(Running(), "t1");
  device_.framework.Connect();
  EXPECT_THAT(Rules(), ElementsAre("routing rule add 256 10.0.0.5 162 2"));
  EXPECT_EQ("log ApplyCommitConfig: Apply commit of SNMP configuration.", device_.journal.back());
  CommitWithout(target::Entry("t1"));
  EXPECT_THAT(Rules(), ElementsAre(kOldRule));
}

TEST_F(TargetVrfCommitTest, InvalidAddressEndsTheVisitWithAFaultOfTheFramework) {
  device_.framework.Commit([](fake::Database& edit) {
    target::Add(edit, {"t1", "red", "1.2.3", 162});
  });
  ASSERT_EQ(1U, device_.middleware.faults.size());
  EXPECT_EQ(0U, device_.middleware.faults[0].text.find("change at /snmp/target: "));
  EXPECT_THAT(Rules(), IsEmpty());
}

}  // namespace
