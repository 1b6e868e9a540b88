// The handler of trap targets: what it makes of the rows that it reads.

#include "dying_gasp_test.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr char kGetCommunities[] = "GetCommunities";
constexpr char kGetTargets[] = "GetTargets";
constexpr char kGetTargetEntry[] = "GetTargetEntry";

class DyingGaspReadTest : public DyingGaspTest {
 protected:
  DyingGaspReadTest() { EnableAgent(true); }

  void AddExample() {
    gasp::AddCommunity(Running(), "public");
    gasp::AddTarget(Running(), "t1");
  }

  /// The next read whose journal line begins with `call` fails.
  void Refuse(const std::string& call, const std::string& text = "cannot read") {
    device_.confd.RefuseNext(call, CONFD_ERR_EXTERNAL, text);
  }

  static std::string Got(const std::string& index, const std::string& sec_name) {
    return gasp::Line(kGetCommunities, 10, "Got SNMP community [" + index + "] " + sec_name);
  }

  /// The line of a target of AddTarget.
  static std::string Added(const std::string& community, const std::string& name = "t1",
                           const std::string& sec_name = "v2user",
                           const std::string& address = "10.0.0.5:162") {
    return gasp::Line(kGetTargets, 10,
                      "Added Target " + name + ", IP " + address + ", community " + community +
                          ", sec_name " + sec_name);
  }

  /// Loads and expects the one target left out with this text, which is its own format unless one
  /// is given, and nothing to apply.
  void ExpectRejected(const std::string& text, const std::string& format = "") {
    Load();
    EXPECT_EQ(gasp::Line(kGetTargetEntry, 12, text), LogLines().back());
    EXPECT_EQ(format.empty() ? text : format, Formats().back());
    EXPECT_EQ(gasp::Line(kGetTargetEntry, 10, "key: t1"), LogLines()[LogLines().size() - 2]);
    const gasp::Lines faults = FaultLines();
    EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({}, {})));
    faults_ = faults;
  }

  gasp::Lines faults_;  ///< Those of ExpectRejected's load.
};

TEST_F(DyingGaspReadTest, CountOfCommunitiesThatCannotBeReadIsNegative) {
  AddExample();
  Refuse("cdb_num_instances /SNMP_C");
  Load();
  EXPECT_EQ(gasp::Line(kGetCommunities, 10, "Getting -1 SNMP communities"), LogLines()[2]);
  EXPECT_EQ(Added(""), LogLines().back());
  EXPECT_THAT(device_.Events("cdb_get_str /SNMP_C"), IsEmpty());
  EXPECT_THAT(FaultLines(), IsEmpty());
}

TEST_F(DyingGaspReadTest, CountOfTargetsThatCannotBeReadIsNegative) {
  AddExample();
  Refuse("cdb_num_instances /SNMP_T");
  Load();
  EXPECT_EQ(gasp::Line(kGetTargets, 10, "Getting -1 SNMP targets"), LogLines().back());
  EXPECT_THAT(FaultLines(), IsEmpty());
}

TEST_F(DyingGaspReadTest, CommunityWithoutIndexIsSkipped) {
  gasp::AddCommunity(Running(), "");
  gasp::AddCommunity(Running(), "b", "user-b");
  Load();
  EXPECT_EQ(gasp::Line(kGetCommunities, 10, "Getting 2 SNMP communities"), LogLines()[2]);
  EXPECT_EQ(Got("b", "user-b"), LogLines()[3]);
  EXPECT_EQ(3U, device_.Events("cdb_get_str").size()) << "no security name of the first row";
  EXPECT_THAT(FaultLines(), IsEmpty());
}

TEST_F(DyingGaspReadTest, IndexThatCannotBeReadIsAFaultAndItsRowSkipped) {
  gasp::AddCommunity(Running(), "a", "user-a");
  gasp::AddCommunity(Running(), "b", "user-b");
  Refuse("cdb_get_str");
  Load();
  EXPECT_THAT(FaultLines(), ElementsAre(gasp::Fault(kGetCommunities, "cannot read")));
  EXPECT_EQ(Got("b", "user-b"), LogLines()[3]);
}

TEST_F(DyingGaspReadTest, SecurityNameThatCannotBeReadIsTheIndexStillInTheBuffer) {
  gasp::AddCommunity(Running(), "a", "user-a");
  gasp::AddTarget(Running(), "t1", "a");
  Refuse(std::string("cdb_get_str ") + gasp::kCommunities + "[0]/snmpCommunitySecurityName");
  Load();
  EXPECT_THAT(FaultLines(), ElementsAre(gasp::Fault(kGetCommunities, "cannot read")));
  EXPECT_EQ(Got("a", "a"), LogLines()[3]);
  EXPECT_EQ(Added("a", "t1", "a"), LogLines().back());
}

TEST_F(DyingGaspReadTest, SecurityNameStillInTheBufferHasUpTo127Bytes) {
  const std::string index(127, 'i');
  gasp::AddCommunity(Running(), index, "user-i");
  Refuse(std::string("cdb_get_str ") + gasp::kCommunities + "[0]/snmpCommunitySecurityName");
  Load();
  EXPECT_EQ(Got(index, index), LogLines()[3]);
}

TEST_F(DyingGaspReadTest, FaultsCarryTheLineOfTheReadThatFailed) {
  AddExample();
  const std::string address = "cdb_get_binary " + gasp::Row(gasp::kTargets, "t1", "");
  const std::string parameters = gasp::Row(gasp::kParams, "params-t1", "");
  std::vector<int> lines;
  for (const std::string& call :
       {std::string("cdb_get_str ") + gasp::kCommunities + "[0]/snmpCommunityIndex",
        std::string("cdb_get_str ") + gasp::kCommunities + "[0]/snmpCommunitySecurityName",
        std::string("cdb_get_str ") + gasp::kTargets + "[0]/snmpTargetAddrName",
        "cdb_get_str " + gasp::Row(gasp::kTargets, "t1", "snmpTargetAddrParams"),
        "cdb_get_str " + parameters + "snmpTargetParamsSecurityName",
        "cdb_get_int32 " + parameters + "snmpTargetParamsMPModel", address}) {
    ForgetRecords();
    Refuse(call);
    Load();
    ASSERT_EQ(1U, device_.middleware.faults.size()) << call;
    lines.push_back(device_.middleware.faults[0].line);
  }
  // The reads stand in the source as they are made.
  for (size_t i = 1; i < lines.size(); ++i) EXPECT_LT(lines[i - 1], lines[i]) << i;
}

TEST_F(DyingGaspReadTest, EmptySecurityNameOfACommunityIsOne) {
  gasp::AddCommunity(Running(), "a", "");
  Load();
  EXPECT_EQ(Got("a", ""), LogLines()[3]);
}

TEST_F(DyingGaspReadTest, IndexAndSecurityNameAreCutTo127Bytes) {
  const std::string index(200, 'i');
  const std::string sec_name(200, 's');
  gasp::AddCommunity(Running(), index, sec_name);
  gasp::AddTarget(Running(), "t1", sec_name);
  Load();
  EXPECT_EQ(Got(std::string(127, 'i'), std::string(127, 's')), LogLines()[3]);
  EXPECT_EQ(Added(std::string(127, 'i'), "t1", std::string(127, 's')), LogLines().back());
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({}, {"t1"})));
}

TEST_F(DyingGaspReadTest, LaterCommunityOfAnIndexReplacesTheEarlierOne) {
  const std::string index(127, 'i');
  gasp::AddCommunity(Running(), index + "1", "v2user");
  gasp::AddCommunity(Running(), index + "2", "other");
  gasp::AddTarget(Running(), "t1");
  Load();
  EXPECT_EQ(Added(""), LogLines().back());
}

TEST_F(DyingGaspReadTest, FirstIndexByBytesGivesTheCommunity) {
  for (const char* index : {"\xff", "b", "aa", "a"}) gasp::AddCommunity(Running(), index);
  gasp::AddCommunity(Running(), "Z", "other");
  gasp::AddTarget(Running(), "t1");
  Load();
  EXPECT_EQ(Added("a"), LogLines().back());
}

TEST_F(DyingGaspReadTest, UpperCaseIndexComesBeforeLowerCase) {
  gasp::AddCommunity(Running(), "a");
  gasp::AddCommunity(Running(), "B");
  gasp::AddTarget(Running(), "t1");
  Load();
  EXPECT_EQ(Added("B"), LogLines().back());
}

TEST_F(DyingGaspReadTest, SecurityNameMustMatchExactly) {
  for (const char* sec_name : {"v2use", "v2userr", "V2user", "v2user "}) {
    gasp::AddCommunity(
        Running(), std::to_string(device_.confd.running.Instances(gasp::kCommunities)), sec_name);
  }
  gasp::AddTarget(Running(), "t1");
  Load();
  EXPECT_EQ(Added(""), LogLines().back());
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({}, {"t1"})));
}

TEST_F(DyingGaspReadTest, TargetWithoutNameIsSkipped) {
  Running().AddEntry(gasp::kTargets, {{"snmpTargetAddrName", common::MakeBuf("")}});
  gasp::AddTarget(Running(), "t1");
  Load();
  EXPECT_EQ(gasp::Line(kGetTargets, 10, "Getting 2 SNMP targets"), LogLines()[3]);
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({}, {"t1"})));
}

TEST_F(DyingGaspReadTest, NameThatCannotBeReadIsAFaultAndItsRowSkipped) {
  gasp::AddTarget(Running(), "t0");
  gasp::AddTarget(Running(), "t1");
  Refuse("cdb_get_str", std::string(400, 'e'));
  Load();
  EXPECT_THAT(FaultLines(), ElementsAre(gasp::Fault(kGetTargets, std::string(299, 'e'))));
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({}, {"t1"})));
}

TEST_F(DyingGaspReadTest, NameIsCutTo127BytesAndItsRowLookedUpSo) {
  gasp::AddTarget(Running(), std::string(200, 'n'));
  Load();
  const std::string key(127, 'n');
  EXPECT_THAT(LogLines(), Contains(gasp::Line(kGetTargetEntry, 10, "key: " + key)));
  EXPECT_EQ(gasp::Line(kGetTargetEntry, 12, "Target parameters not valid"), LogLines().back());
  const std::string path = gasp::Row(gasp::kTargets, key, "snmpTargetAddrParams");
  EXPECT_THAT(FaultLines(), ElementsAre(gasp::Fault(kGetTargetEntry, path + " has no value")));
}

TEST_F(DyingGaspReadTest, LongestNameIsATarget) {
  const std::string name(127, 'n');
  gasp::AddTarget(Running(), name);
  Running().Set(gasp::Row(gasp::kTargets, name, "snmpTargetAddrParams"), common::MakeBuf("p"));
  Running().Set(gasp::Row(gasp::kParams, "p", "snmpTargetParamsSecurityName"),
                common::MakeBuf("v2user"));
  gasp::SetModel(Running(), "p", 1);
  Load();
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({}, {name})));
}

TEST_F(DyingGaspReadTest, NameOfParametersIsCutTo127Bytes) {
  AddExample();
  const std::string path = gasp::Row(gasp::kTargets, "t1", "snmpTargetAddrParams");
  Running().Set(path, common::MakeBuf(std::string(200, 'p')));
  ExpectRejected("Target parameters not valid");
  EXPECT_THAT(faults_, ElementsAre(gasp::Fault(kGetTargetEntry,
                                               gasp::Row(gasp::kParams, std::string(127, 'p'),
                                                         "snmpTargetParamsSecurityName") +
                                                   " has no value")));
}

TEST_F(DyingGaspReadTest, TargetWithEmptyParametersIsRejected) {
  AddExample();
  Running().Set(gasp::Row(gasp::kTargets, "t1", "snmpTargetAddrParams"), common::MakeBuf(""));
  ExpectRejected("Target parameters not valid");
  EXPECT_THAT(faults_, IsEmpty());
}

TEST_F(DyingGaspReadTest, TargetWithEmptySecurityNameIsRejected) {
  AddExample();
  Running().Set(gasp::Row(gasp::kParams, "params-t1", "snmpTargetParamsSecurityName"),
                common::MakeBuf(""));
  ExpectRejected("Target parameters not valid");
  EXPECT_THAT(faults_, IsEmpty());
}

TEST_F(DyingGaspReadTest, TextsThatCannotBeReadAreFaultsAndTheTargetRejected) {
  AddExample();
  for (const std::string& leaf :
       {gasp::Row(gasp::kTargets, "t1", "snmpTargetAddrParams"),
        gasp::Row(gasp::kParams, "params-t1", "snmpTargetParamsSecurityName")}) {
    ForgetRecords();
    Refuse("cdb_get_str " + leaf);
    ExpectRejected("Target parameters not valid");
    EXPECT_THAT(faults_, ElementsAre(gasp::Fault(kGetTargetEntry, "cannot read"))) << leaf;
  }
}

TEST_F(DyingGaspReadTest, OtherMessageModelsAreRejected) {
  AddExample();
  for (const int32_t model : {0, 2, 3, -1, 257}) {
    ForgetRecords();
    gasp::SetModel(Running(), "params-t1", model);
    ExpectRejected("Only SNMPv2 supported for dying-gasp trap");
    EXPECT_THAT(faults_, IsEmpty());
  }
}

TEST_F(DyingGaspReadTest, ModelThatCannotBeReadIsAFaultAndTheTargetRejected) {
  AddExample();
  Refuse("cdb_get_int32");
  ExpectRejected("Only SNMPv2 supported for dying-gasp trap");
  EXPECT_THAT(faults_, ElementsAre(gasp::Fault(kGetTargetEntry, "cannot read")));
}

TEST_F(DyingGaspReadTest, AddressesOfAnotherLengthAreRejected) {
  AddExample();
  for (const int length : {18, 7, 5, 2, 0}) {
    ForgetRecords();
    gasp::SetAddress(Running(), "t1", std::string(static_cast<size_t>(length), '\1'));
    ExpectRejected("Target address not valid, IP length " + std::to_string(length - 2),
                   "Target address not valid, IP length %d");
    EXPECT_THAT(faults_, IsEmpty());
  }
}

TEST_F(DyingGaspReadTest, AddressThatCannotBeReadIsAFaultAndHasLengthMinusTwo) {
  AddExample();
  Refuse("cdb_get_binary");
  ExpectRejected("Target address not valid, IP length -2",
                 "Target address not valid, IP length %d");
  EXPECT_THAT(faults_, ElementsAre(gasp::Fault(kGetTargetEntry, "cannot read")));
}

TEST_F(DyingGaspReadTest, AddressAndPortAreInNetworkOrder) {
  gasp::AddTarget(Running(), "high", "v2user", std::string("\xff\xfe\x01\x02\xff\xff", 6));
  gasp::AddTarget(Running(), "low", "v2user", std::string("\0\0\0\0\x01\x02", 6));
  Load();
  EXPECT_THAT(LogLines(), Contains(Added("", "high", "v2user", "255.254.1.2:65535")));
  EXPECT_THAT(LogLines(), Contains(Added("", "low", "v2user", "0.0.0.0:258")));
}

TEST_F(DyingGaspReadTest, RejectedTargetDoesNotKeepTheOthersAway) {
  gasp::AddTarget(Running(), "t1");
  gasp::AddTarget(Running(), "t2");
  gasp::AddTarget(Running(), "t3");
  gasp::SetModel(Running(), "params-t2", 3);
  Load();
  EXPECT_THAT(LogLines(), Not(Contains(Added("", "t2"))));
  EXPECT_THAT(Apply(), ElementsAreArray(gasp::ApplyLines({}, {"t1", "t3"})));
}

}  // namespace
