// The target VRF handler: one rule of one target.

#include <boost/system/system_error.hpp>

#include "target_vrf_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TargetVrfRuleTest : public TargetVrfTest {
 protected:
  static std::string Rule(int level, const std::string& text) {
    return target::Line("AddDelIpRuleIntf", level, text);
  }
};

TEST_F(TargetVrfRuleTest, TargetInAVrfHasARule) {
  target::Add(Running(), {"t1", "red", "10.0.0.5", 162});
  for (const bool add : {true, false}) {
    ForgetRecords();
    handler_.ApplyCommitConfig();
    device_.log.records.clear();
    ChangeRule(add, "t1");
    EXPECT_THAT(LogLines(), ElementsAre(Rule(10, add ? "add: 1 target: t1" : "add: 0 target: t1"),
                                        Rule(10, "Target: t1 v[1].type: 5"), Rule(10, "VRF: red"),
                                        target::Line("GetTargetVrf", 10, "key: red"),
                                        Rule(11, "address: 10.0.0.5"),
                                        Rule(10, "vrf_id: 256 dport: 162 dst_ip: 10.0.0.5")));
    EXPECT_THAT(Rules(), ElementsAre(add ? "routing rule add 256 10.0.0.5 162 2"
                                         : "routing rule delete 256 10.0.0.5 162 2"));
    EXPECT_THAT(device_.Events("iptools"), ElementsAre("iptools new snmp-app"));
  }
}

TEST_F(TargetVrfRuleTest, TargetThatIsNotThereIsOnlyLogged) {
  ChangeRule(true, "t1");
  EXPECT_THAT(LogLines(), ElementsAre(Rule(10, "add: 1 target: t1"),
                                      Rule(10, "/snmp/target{t1} does not exist")));
  EXPECT_THAT(FaultLines(), IsEmpty());
  EXPECT_THAT(Rules(), IsEmpty());
}

TEST_F(TargetVrfRuleTest, TextOfAFailedReadIsNoFormat) {
  target::Add(Running(), {"t1", "red", "10.0.0.5", 162});
  device_.confd.RefuseNext("cdb_get_object", CONFD_ERR_EXTERNAL, "not %d now");
  ChangeRule(false, "t1");
  EXPECT_THAT(LogLines(), ElementsAre(Rule(10, "add: 0 target: t1"), Rule(10, "not %d now")));
}

TEST_F(TargetVrfRuleTest, TargetWithoutVrfHasNone) {
  target::Add(Running(), {"t1", "", "10.0.0.5", 162});
  ChangeRule(true, "t1");
  EXPECT_THAT(LogLines(),
              ElementsAre(Rule(10, "add: 1 target: t1"), Rule(10, "Target: t1 v[1].type: 1"),
                          Rule(11, "address: 10.0.0.5"),
                          Rule(10, "vrf_id: 0 dport: 162 dst_ip: 10.0.0.5")));
  EXPECT_THAT(device_.Events("cdb"), ElementsAre("cdb_get_object /snmp/target{t1}"));
  EXPECT_THAT(Rules(), IsEmpty());
}

TEST_F(TargetVrfRuleTest, TargetWithAnIpv6AddressHasNone) {
  target::Add(Running(), {"t1", "red", "2001:db8::1", 162});
  ChangeRule(true, "t1");
  EXPECT_THAT(LogLines(),
              ElementsAre(Rule(10, "add: 1 target: t1"), Rule(10, "Target: t1 v[1].type: 5"),
                          Rule(10, "VRF: red"), target::Line("GetTargetVrf", 10, "key: red"),
                          Rule(11, "address: 2001:db8::1"),
                          Rule(10, "vrf_id: 256 dport: 162 dst_ip: 2001:db8::1")));
  EXPECT_THAT(Rules(), IsEmpty());
  EXPECT_THAT(device_.Events("iptools"), IsEmpty());
}

TEST_F(TargetVrfRuleTest, TargetWhoseVrfHasNoIndexHasNone) {
  target::Add(Running(), {"t1", "green", "10.0.0.5", 162});
  ChangeRule(true, "t1");
  EXPECT_THAT(FaultLines(),
              ElementsAre(target::Fault(0, "GetTargetVrf",
                                        std::string("Error getting target vrf - ") + target::kVrfs +
                                            "{green}/vrf-idx has no value")));
  EXPECT_EQ(Rule(10, "vrf_id: 0 dport: 162 dst_ip: 10.0.0.5"), LogLines().back());
  EXPECT_THAT(Rules(), IsEmpty());
}

TEST_F(TargetVrfRuleTest, LargestNumbersReachTheLibraryWhole) {
  target::SetVrf(Running(), "last", common::MakeUint32(4294967295U));
  target::Add(Running(), {"t1", "last", "255.255.255.255", 65535});
  ChangeRule(true, "t1");
  EXPECT_EQ(Rule(10, "vrf_id: -1 dport: 65535 dst_ip: 255.255.255.255"), LogLines().back());
  EXPECT_THAT(Rules(), ElementsAre("routing rule add 4294967295 255.255.255.255 65535 2"));
}

TEST_F(TargetVrfRuleTest, AddressTextIsCutTo45Bytes) {
  const std::string text(60, 'a');
  target::Add(Running(), {"t1", "red", text, 162});
  ChangeRule(true, "t1");
  EXPECT_EQ(Rule(11, "address: " + text.substr(0, 45)), LogLines()[4]);
  EXPECT_EQ(Rule(10, "vrf_id: 256 dport: 162 dst_ip: " + text.substr(0, 45)), LogLines().back());
}

TEST_F(TargetVrfRuleTest, TextThatIsNoIpv4AddressThrowsInAndOutsideOfAVrf) {
  for (const char* address : {"1.2.3", "1.2.3.4.5", "1.2.3.256", "target.example"}) {
    for (const char* vrf : {"red", ""}) {
      target::Add(Running(), {"t1", vrf, address, 162});
      EXPECT_THROW(ChangeRule(true, "t1"), boost::system::system_error) << address << " " << vrf;
      Running().Delete(target::Entry("t1"));
    }
  }
  EXPECT_THAT(Rules(), IsEmpty());
}

TEST_F(TargetVrfRuleTest, ResultOfTheLibraryIsIgnored) {
  target::Add(Running(), {"t1", "red", "10.0.0.5", 162});
  device_.rules.answers.emplace_back([] { return 1; });
  ChangeRule(true, "t1");
  ChangeRule(false, "t1");
  EXPECT_THAT(Rules(), ElementsAre("routing rule add 256 10.0.0.5 162 2"))
      << "an addition counts as one, also when it failed";
  EXPECT_THAT(FaultLines(), IsEmpty());
}

TEST_F(TargetVrfRuleTest, RemovalStandsBackBehindAnAdditionOfTheSameRuleOnly) {
  target::Add(Running(), {"new", "red", "10.0.0.5", 162});
  target::Add(Running(), {"same", "red", "10.0.0.5", 162});
  target::Add(Running(), {"address", "red", "10.0.0.6", 162});
  target::Add(Running(), {"vrf", "blue", "10.0.0.5", 162});
  target::Add(Running(), {"port", "red", "10.0.0.5", 163});
  ChangeRule(true, "new");
  for (const char* name : {"same", "new", "address", "vrf", "port"}) ChangeRule(false, name);
  EXPECT_THAT(Rules(), ElementsAre("routing rule add 256 10.0.0.5 162 2",
                                   "routing rule delete 256 10.0.0.6 162 2",
                                   "routing rule delete 7 10.0.0.5 162 2",
                                   "routing rule delete 256 10.0.0.5 163 2"));
}

}  // namespace
