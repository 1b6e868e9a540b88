// The facts of an interface: gathering them and refreshing a record.

#include "listen_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ListenEntryTest : public ListenTest {
 protected:
  /// Gathers the facts of an interface whose port is 161 in a session of its own.
  SnmpListenCfgHandler::InterfaceInfo Gather(const std::string& name) {
    SnmpListenCfgHandler::InterfaceInfo info;
    info.udp_port = 161;
    const int socket = device_.confd.OpenSession(CDB_RUNNING);
    handler_->GatherInterfaceInfo(socket, name, info);
    device_.confd.CloseSession(socket);
    return info;
  }

  static std::string Update(const std::string& text) {
    return listening::Line("UpdateEntry", 11, text);
  }
};

TEST_F(ListenEntryTest, NewRecordHasNeitherVrfNorPorts) {
  const SnmpListenCfgHandler::InterfaceInfo info;
  EXPECT_EQ(0U, info.vrf);
  EXPECT_EQ("", info.kernel_name);
  EXPECT_EQ(0, info.udp_port);
  EXPECT_EQ(0, info.redir_port);
}

TEST_F(ListenEntryTest, CreatedEntryHasNoPortUntilItIsSet) {
  AddInterface("l3-eth1", 5, "veth1");
  ChangeEntry("l3-eth1", MOP_CREATED);
  EXPECT_EQ(0, Entry("l3-eth1").udp_port);
  EXPECT_EQ(60600, Entry("l3-eth1").redir_port);
  EXPECT_THAT(Apply(), IsEmpty());
}

TEST_F(ListenEntryTest, InterfaceWithoutVrfIsRedirectedToItsOwnPort) {
  const SnmpListenCfgHandler::InterfaceInfo info = Gather("l3-eth0");
  EXPECT_EQ(0U, info.vrf);
  EXPECT_EQ("eth0", info.kernel_name);
  EXPECT_EQ(161, info.udp_port);
  EXPECT_EQ(161, info.redir_port);
  EXPECT_EQ(60600, handler_->AllocateRedirPort("l3-eth0")) << "it has made a row";
}

TEST_F(ListenEntryTest, InterfacesInAVrfGetAPortEach) {
  AddInterface("l3-a", 5, "va");
  AddInterface("l3-b", 5, "vb");
  EXPECT_EQ(60600, Gather("l3-a").redir_port);
  EXPECT_EQ(60601, Gather("l3-b").redir_port);
  EXPECT_EQ(60600, Gather("l3-a").redir_port);
  EXPECT_EQ(5U, Gather("l3-a").vrf);
}

TEST_F(ListenEntryTest, FactsAreAskedForInOrderUnderTheCategoryAndLogged) {
  AddInterface("l3-a", 4294967295U, "va");
  Gather("l3-a");
  EXPECT_THAT(
      device_.journal,
      ElementsAre("session open 1", "interface facts l3-a", "interface kernel name l3-a",
                  "log GatherInterfaceInfo: Got interface l3-a vrf 4294967295 kernel name va",
                  "session close"));
  EXPECT_THAT(LogLines(),
              ElementsAre(listening::Line("GatherInterfaceInfo", 10,
                                          "Got interface l3-a vrf 4294967295 kernel name "
                                          "va")));
  ASSERT_EQ(1U, device_.rules.categories.size());
  EXPECT_EQ("snmp-app-listen", device_.rules.categories[0]->name);
}

TEST_F(ListenEntryTest, UpdateOfAnUnknownInterfaceIsLoggedOnly) {
  handler_->UpdateEntry("l3-x");
  EXPECT_THAT(LogLines(), ElementsAre(Update("Updating listening interface l3-x"),
                                      Update("Interface l3-x not found on stash map::at")));
  EXPECT_EQ(2U, device_.journal.size());
}

TEST_F(ListenEntryTest, UpdateRemovesTheOldRulesFirst) {
  LoadOne();
  AddInterface("l3-eth1", 6, "veth9");
  handler_->UpdateEntry("l3-eth1");
  EXPECT_THAT(
      device_.journal,
      ElementsAre("log UpdateEntry: Updating listening interface l3-eth1", "session open 1",
                  "log DelInterfaceRules: Creating Iptools instance for deletion",
                  "iptools new snmp-app-listen",
                  "log DelInterfaceRules: Removing SNMP listening rules for interface l3-eth1",
                  "log DelInterfaceRules: Port 161 redirected to 60600",
                  "rule delete veth1 5 161 60600 2 2", "session close", "session open 1",
                  "interface facts l3-eth1", "interface kernel name l3-eth1",
                  "log GatherInterfaceInfo: Got interface l3-eth1 vrf 6 kernel name veth9",
                  "log UpdateEntry: Updating interface l3-eth1 to stash", "session close"));
  EXPECT_THAT(LogLines().front(), Update("Updating listening interface l3-eth1"));
  EXPECT_THAT(LogLines().back(), Update("Updating interface l3-eth1 to stash"));
  EXPECT_EQ(6U, Entry("l3-eth1").vrf);
  EXPECT_EQ("veth9", Entry("l3-eth1").kernel_name);
  EXPECT_EQ(161, Entry("l3-eth1").udp_port);
  EXPECT_EQ(60600, Entry("l3-eth1").redir_port);
}

TEST_F(ListenEntryTest, UpdateRemovesTheRulesAlsoWhenNothingChanged) {
  LoadOne();
  handler_->UpdateEntry("l3-eth1");
  EXPECT_THAT(device_.Events("rule"), ElementsAre("rule delete veth1 5 161 60600 2 2"));
}

TEST_F(ListenEntryTest, UpdateOfAnInterfaceThatLeftItsVrf) {
  LoadOne();
  AddInterface("l3-eth1", 0, "veth1");
  handler_->UpdateEntry("l3-eth1");
  EXPECT_EQ(0U, Entry("l3-eth1").vrf);
  EXPECT_EQ(161, Entry("l3-eth1").redir_port);
  ChangeEnabled(common::MakeBool(true));
  EXPECT_THAT(Apply(), IsEmpty());
}

}  // namespace
