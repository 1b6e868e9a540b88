// The listen callpoint: creation, removal and change of listening interfaces.

#include "data_listen_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kIgnored[] = "Ignoring no-L3 listening interfaces";

/// Names without the prefix of L3 interfaces.
constexpr const char* kForeignNames[] = {"eth0", "L3-x", "l3", ""};

TEST_F(DataListenTest, ConstructionSetsTheFlagsAndServesOneCallpoint) {
  ForgetRecords();
  SnmpListenDataHandler handler(handler_);
  EXPECT_THAT(device_.journal, ElementsAre("data handler new 0100010", "category snmp-app-listen"));
  ASSERT_EQ(1U, handler.GetCallpoints().size());
  EXPECT_STREQ("listen", handler.GetCallpoints()[0]->GetCallpointName());
  EXPECT_EQ(3, handler_.use_count());
}

TEST_F(DataListenTest, ForeignNamesAreIgnored) {
  for (const std::string name : kForeignNames) {
    ForgetRecords();
    EXPECT_EQ(CONFD_OK, Create(name));
    EXPECT_EQ(CONFD_OK, Remove(name));
    EXPECT_EQ(CONFD_OK, SetPort(name, 161));
    EXPECT_THAT(
        LogLines(),
        ElementsAre(
            data::Line("CreateCallback", 10, "Added " + name + " to list of listening interfaces"),
            data::Line("CreateCallback", 11, kIgnored),
            data::Line("RemoveCallback", 10,
                       "Removed " + name + " from list of listening interfaces"),
            data::Line("RemoveCallback", 11, kIgnored),
            data::Line("SetElemCallback", 10, "Changed UDP port for listening interface " + name),
            data::Line("SetElemCallback", 11, kIgnored)));
    EXPECT_EQ(6U, device_.journal.size());
  }
}

TEST_F(DataListenTest, PrefixAloneIsTheEmptyL3Name) {
  listening::AddRow(Candidate(), "l3-", 161, 161);
  EXPECT_EQ(CONFD_OK, Create("l3-"));
  EXPECT_THAT(device_.Events("maapi"),
              ElementsAre("maapi_get_str_elem /config/interface/l3{}/vrf",
                          "maapi_get_u_int16_elem /snmp/agent/listen/interface{l3-}/udp-port",
                          "maapi_get_ipv4_and_plen_elem /config/interface/l3{}/ipv4/address/ip",
                          "maapi_get_bool_elem /config/interface/l3{}/ipv6/enable"));
}

TEST_F(DataListenTest, CreatedInterfaceInAVrfHasOneEntryAndItsPort) {
  data::SetVrf(Candidate(), "eth0");
  data::SetIpv4(Candidate(), "eth0", "10.0.0.1");
  listening::AddRow(Candidate(), "l3-eth0");
  EXPECT_EQ(CONFD_OK, Create("l3-eth0"));
  EXPECT_THAT(
      device_.journal,
      ElementsAre("log CreateCallback: Added l3-eth0 to list of listening interfaces",
                  "maapi_get_str_elem /config/interface/l3{eth0}/vrf",
                  std::string("maapi_get_u_int32_elem ") + data::kVrfIndexOfBlue,
                  data::Create("0.0.0.0:60600"),
                  "log CreateCallback: New extraIpPorts entry: 0.0.0.0:60600",
                  "maapi_set_elem2 60600 /snmp/agent/listen/interface{l3-eth0}/redir-port",
                  "log CreateCallback: Added redirected port 60600 to interface l3-eth0 entry"));
  EXPECT_THAT(LogLines()[1],
              data::Line("CreateCallback", 10, "New extraIpPorts entry: 0.0.0.0:60600"));
  EXPECT_THAT(LogLines()[2], data::Line("CreateCallback", 10,
                                        "Added redirected port 60600 to interface l3-eth0 entry"));
  EXPECT_EQ("New extraIpPorts entry: 0.0.0.0:%hu", Formats()[1]);
  EXPECT_EQ("[ 0.0.0.0:60600 ]", Extra());
  const fake::Node* leaf = Candidate().Find("/snmp/agent/listen/interface{l3-eth0}/redir-port");
  ASSERT_NE(nullptr, leaf);
  EXPECT_EQ(60600, leaf->value.Value().val.u16);
}

TEST_F(DataListenTest, WildcardEntryThatIsThereIsSilentAndThePortStillSet) {
  data::SetVrf(Candidate(), "eth0");
  listening::AddRow(Candidate(), "l3-eth0");
  Candidate().Create(std::string(data::kExtra) + "{0.0.0.0:60600}");
  EXPECT_EQ(CONFD_OK, Create("l3-eth0"));
  EXPECT_THAT(device_.Events("log CreateCallback: New"), IsEmpty());
  EXPECT_EQ("[ 0.0.0.0:60600 ]", Extra());
  EXPECT_EQ(
      data::Line("CreateCallback", 10, "Added redirected port 60600 to interface l3-eth0 entry"),
      LogLines().back());
}

TEST_F(DataListenTest, RemovedInterfaceInAVrfLosesItsEntryAndKeepsItsPort) {
  data::SetVrf(running_, "eth0");
  Begin();
  Candidate().Create(std::string(data::kExtra) + "{0.0.0.0:60600}");
  EXPECT_EQ(CONFD_OK, Remove("l3-eth0"));
  EXPECT_THAT(device_.journal,
              ElementsAre("log RemoveCallback: Removed l3-eth0 from list of listening interfaces",
                          "session open 1", "cdb_get_str /config/interface/l3{eth0}/vrf",
                          std::string("cdb_get_u_int32 ") + data::kVrfIndexOfBlue,
                          data::Delete("0.0.0.0:60600"),
                          "log RemoveCallback: Removed extraIpPorts entry: 0.0.0.0:60600",
                          "session close"));
  EXPECT_EQ("[ ]", Extra());
  EXPECT_EQ(CONFD_OK, Remove("l3-eth0"));
  EXPECT_EQ(data::Line("RemoveCallback", 10, "Removed extraIpPorts entry: 0.0.0.0:60600"),
            LogLines().back())
      << "an entry that is gone counts as removed";
  EXPECT_EQ(60601, handler_->AllocateRedirPort("l3-next"));
}

TEST_F(DataListenTest, RemovedInterfaceWithoutVrfLosesTheEntriesOfItsRunningAddresses) {
  data::SetIpv4(running_, "eth0", "10.0.0.1");
  listening::AddRow(running_, "l3-eth0", 161, 161);
  Begin();
  data::SetIpv4(Candidate(), "eth0", "10.0.0.2");
  EXPECT_EQ(CONFD_OK, Remove("l3-eth0"));
  EXPECT_THAT(Writes(), ElementsAre(data::Delete("10.0.0.1:161")));
  EXPECT_EQ(2, device_.confd.closed_sessions);
}

TEST_F(DataListenTest, RedirectPortIsNothingToDo) {
  for (const char* name : {"l3-eth0", "eth0"}) {
    ForgetRecords();
    EXPECT_EQ(CONFD_OK, SetLeaf(name, "redir-port", common::MakeUint16(60600)));
    EXPECT_THAT(LogLines(),
                ElementsAre(data::Line(
                    "SetElemCallback", 11,
                    std::string("Nothing to do with redirected UDP port for interface ") + name)));
    EXPECT_EQ(1U, device_.journal.size());
  }
}

/// A change of a port from 161 to 1161 while the interface enters, leaves or keeps a VRF.
class DataListenMoveTest : public DataListenTest {
 protected:
  std::vector<std::string> Move(bool had, bool has) {
    running_ = fake::Database();
    data::AddL3(running_, "eth0");
    data::SetIpv4(running_, "eth0", "10.0.0.1");
    listening::AddRow(running_, "l3-eth0", 161, 161);
    if (had) data::SetVrf(running_, "eth0");
    Begin();
    data::SetIpv4(Candidate(), "eth0", "10.0.0.2");
    if (has) data::SetVrf(Candidate(), "eth0");
    if (had && !has) Candidate().Delete("/config/interface/l3{eth0}/vrf");
    EXPECT_EQ(CONFD_OK, SetPort("l3-eth0", 1161));
    return Writes();
  }
};

TEST_F(DataListenMoveTest, NoVrfBeforeOrAfterMovesTheEntries) {
  EXPECT_THAT(Move(false, false),
              ElementsAre(data::Delete("10.0.0.1:161"), data::Create("10.0.0.2:1161")));
  const std::vector<std::string> reads(device_.journal.begin() + 1, device_.journal.begin() + 5);
  EXPECT_THAT(reads, ElementsAre("session open 1", "cdb_get_str /config/interface/l3{eth0}/vrf",
                                 "maapi_get_str_elem /config/interface/l3{eth0}/vrf",
                                 "cdb_get_u_int16 /snmp/agent/listen/interface{l3-eth0}/udp-port"));
  EXPECT_EQ("session close", device_.journal.back());
}

TEST_F(DataListenMoveTest, InterfaceThatEntersAVrfOnlyLosesItsEntries) {
  EXPECT_THAT(Move(false, true), ElementsAre(data::Delete("10.0.0.1:161")));
}

TEST_F(DataListenMoveTest, InterfaceThatLeavesAVrfOnlyGetsEntries) {
  EXPECT_THAT(Move(true, false), ElementsAre(data::Create("10.0.0.2:1161")));
}

TEST_F(DataListenMoveTest, InterfaceThatStaysInAVrfKeepsWhatItHas) {
  EXPECT_THAT(Move(true, true), IsEmpty());
}

TEST_F(DataListenMoveTest, NewInterfaceHasNoOldEntriesToDelete) {
  data::SetIpv4(Candidate(), "eth0", "10.0.0.1");
  EXPECT_EQ(CONFD_OK, SetPort("l3-eth0", 161));
  EXPECT_THAT(Writes(), ElementsAre(data::Create("10.0.0.1:161")));
}

}  // namespace
