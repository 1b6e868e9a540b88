// The redirect rules of one interface, and the callbacks that install and remove them.

#include <stdexcept>

#include "listen_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using InterfaceInfo = SnmpListenCfgHandler::InterfaceInfo;

const InterfaceInfo kComplete = {5, "veth1", 161, 60600};

class ListenRulesTest : public ListenTest {
 protected:
  static std::string Set(int level, const std::string& text) {
    return listening::Line("SetInterfaceRules", level, text);
  }
  static std::string Del(int level, const std::string& text) {
    return listening::Line("DelInterfaceRules", level, text);
  }

  /// The answers of the rule library to its next call.
  void Refuse() {
    device_.rules.answers.emplace_back([] { return 1; });
  }
  void Throw() {
    device_.rules.answers.emplace_back([]() -> int { throw std::runtime_error("no kernel"); });
  }
  void ThrowOther() {
    device_.rules.answers.emplace_back([]() -> int { throw 5; });
  }

  /// Each of the callbacks, once.
  static void CallBack(const boost::any& context) {
    SetRules("l3-eth1", kComplete, context);
    DelRules("l3-eth1", kComplete, context);
    CleanupRules("l3-eth1", context);
  }

  /// What they raise when each of them fails for that reason.
  static std::vector<std::string> FaultOfEach(const std::string& reason) {
    return {
        listening::Fault("SetRules", reason + ": could not set rules for interface l3-eth1"),
        listening::Fault("DelRules", reason + ": could not del rules for interface l3-eth1"),
        listening::Fault("CleanupRules", reason + ": could not del rules for interface l3-eth1")};
  }
};

TEST_F(ListenRulesTest, Installation) {
  handler_->SetInterfaceRules("l3-eth1", kComplete);
  EXPECT_THAT(LogLines(), ElementsAre(Set(11, "Creating Iptools instance for addition"),
                                      Set(11, "Adding SNMP listening rules for l3-eth1"),
                                      Set(10, "Port 161 redirected to 60600")));
  EXPECT_THAT(
      device_.journal,
      ElementsAre("session open 1", "log SetInterfaceRules: Creating Iptools instance for addition",
                  "iptools new snmp-app-listen",
                  "log SetInterfaceRules: Adding SNMP listening rules for l3-eth1",
                  "log SetInterfaceRules: Port 161 redirected to 60600",
                  "rule add veth1 5 161 60600 2 2", "session close"));
  EXPECT_THAT(FaultLines(), IsEmpty());
  EXPECT_THAT(Formats(),
              ElementsAre("Creating Iptools instance for addition",
                          "Adding SNMP listening rules for %s", "Port %hu redirected to %hu"));
}

TEST_F(ListenRulesTest, LibraryReadsTheSessionOfItsCall) {
  handler_->SetInterfaceRules("l3-eth1", kComplete);
  handler_->DelInterfaceRules("l3-eth1", kComplete);
  ASSERT_EQ(2U, device_.rules.calls.size());
  ASSERT_EQ(2U, device_.confd.sessions.size());
  for (const size_t i : {0U, 1U}) {
    EXPECT_EQ(device_.confd.sessions[i].socket, device_.rules.calls[i].cdb_socket);
  }
}

TEST_F(ListenRulesTest, FormatsOfWhatNeedsNoRules) {
  const InterfaceInfo no_vrf = {0, "veth1", 161, 161};
  const InterfaceInfo no_port = {5, "veth1", 161, 0};
  for (const InterfaceInfo& info : {no_vrf, no_port}) {
    handler_->SetInterfaceRules("l3-eth1", info);
    handler_->DelInterfaceRules("l3-eth1", info);
  }
  EXPECT_THAT(
      Formats(),
      ElementsAre("No need for rules for interface %s", "No rules expected to be for interface %s",
                  "Port not fully configured yet (cfg=%hu, red=%u), not changing rules",
                  "Ports not fully configured yet (cfg=%hu, red=%u), not changing rules"));
}

TEST_F(ListenRulesTest, Removal) {
  handler_->DelInterfaceRules("l3-eth1", kComplete);
  EXPECT_THAT(Formats(), ElementsAre("Creating Iptools instance for deletion",
                                     "Removing SNMP listening rules for interface %s",
                                     "Port %hu redirected to %hu"));
  EXPECT_THAT(LogLines(),
              ElementsAre(Del(11, "Creating Iptools instance for deletion"),
                          Del(11, "Removing SNMP listening rules for interface l3-eth1"),
                          Del(10, "Port 161 redirected to 60600")));
  EXPECT_THAT(device_.Events("rule"), ElementsAre("rule delete veth1 5 161 60600 2 2"));
  EXPECT_EQ("session close", device_.journal.back());
}

TEST_F(ListenRulesTest, InterfaceInNoVrfNeedsNoRules) {
  handler_->SetInterfaceRules("l3-eth1", {0, "veth1", 161, 161});
  handler_->DelInterfaceRules("l3-eth1", {0, "veth1", 161, 161});
  EXPECT_THAT(LogLines(), ElementsAre(Set(11, "No need for rules for interface l3-eth1"),
                                      Del(11, "No rules expected to be for interface l3-eth1")));
  EXPECT_EQ(2U, device_.journal.size());
}

TEST_F(ListenRulesTest, PortThatIsStillZeroChangesNoRules) {
  for (const InterfaceInfo& info : {InterfaceInfo{5, "v", 5000, 0}, InterfaceInfo{5, "v", 0, 60600},
                                    InterfaceInfo{5, "v", 0, 0}}) {
    ForgetRecords();
    handler_->SetInterfaceRules("l3-eth1", info);
    handler_->DelInterfaceRules("l3-eth1", info);
    const std::string rest = " not fully configured yet (cfg=" + std::to_string(info.udp_port) +
                             ", red=" + std::to_string(info.redir_port) + "), not changing rules";
    EXPECT_THAT(LogLines(), ElementsAre(Set(11, "Port" + rest), Del(11, "Ports" + rest)));
    EXPECT_EQ(2U, device_.journal.size());
  }
}

TEST_F(ListenRulesTest, ZeroPortIsLoggedInFull) {
  handler_->SetInterfaceRules("l3-eth1", {5, "v", 5000, 0});
  EXPECT_THAT(LogLines(), ElementsAre(Set(11,
                                          "Port not fully configured yet (cfg=5000, red=0), "
                                          "not changing rules")));
}

TEST_F(ListenRulesTest, InterfaceThatGetsNoRedirectPortGetsNoRule) {
  for (int port = 60600; port <= 65535; ++port) {
    handler_->AllocateRedirPort("l3-" + std::to_string(port));
  }
  AddInterface("l3-eth1", 5, "veth1");
  ChangeEntry("l3-eth1", MOP_CREATED);
  ChangeLeaf("l3-eth1", "udp-port", common::MakeUint16(161));
  ChangeEnabled(common::MakeBool(true));
  EXPECT_THAT(Apply(), IsEmpty());
  EXPECT_EQ(Set(11, "Port not fully configured yet (cfg=161, red=0), not changing rules"),
            LogLines().back());
}

TEST_F(ListenRulesTest, RefusalIsAFaultAndIsNotRetried) {
  Refuse();
  handler_->SetInterfaceRules("l3-eth1", kComplete);
  Refuse();
  handler_->DelInterfaceRules("l3-eth1", kComplete);
  EXPECT_THAT(
      FaultLines(),
      ElementsAre(
          listening::Fault("SetInterfaceRules", "Rules NOT added for interface l3-eth1"),
          listening::Fault("DelInterfaceRules", "Rules NOT removed for interface l3-eth1")));
  EXPECT_EQ(2U, device_.rules.calls.size());
  EXPECT_EQ(2, device_.confd.closed_sessions);
}

TEST_F(ListenRulesTest, FaultTextIsCutTo300Bytes) {
  const std::string name(400, 'n');
  Refuse();
  handler_->SetInterfaceRules(name, kComplete);
  EXPECT_EQ(("Rules NOT added for interface " + name).substr(0, 299),
            device_.middleware.faults.at(0).text);
}

TEST_F(ListenRulesTest, RefusedRemovalDoesNotStopTheWalk) {
  LoadOne("l3-a");
  AddInterface("l3-b", 6, "veth2");
  listening::AddRow(device_.confd.running, "l3-b", 162, 60601);
  Load();
  Refuse();
  EXPECT_THAT(Apply(), ElementsAre("rule delete veth1 5 161 60600 2 2",
                                   "rule delete veth2 6 162 60601 2 2"));
  EXPECT_THAT(FaultLines(), ElementsAre(listening::Fault("DelInterfaceRules",
                                                         "Rules NOT removed for interface l3-a")));
}

TEST_F(ListenRulesTest, CallbacksWorkOnTheHandlerOfTheirContext) {
  const boost::any context = handler_.get();
  SetRules("l3-eth1", kComplete, context);
  DelRules("l3-eth1", kComplete, context);
  EXPECT_THAT(device_.Events("rule"),
              ElementsAre("rule add veth1 5 161 60600 2 2", "rule delete veth1 5 161 60600 2 2"));
  LoadOne();
  CleanupRules("l3-eth1", context);
  EXPECT_THAT(device_.Events("rule"), ElementsAre("rule delete veth1 5 161 60600 2 2"));
  EXPECT_THAT(FaultLines(), IsEmpty());
}

TEST_F(ListenRulesTest, StandardExceptionOfTheLibraryBecomesAFault) {
  LoadOne();
  const boost::any context = handler_.get();
  for (int i = 0; i < 3; ++i) Throw();
  CallBack(context);
  EXPECT_EQ(FaultLines(), FaultOfEach("no kernel"));
  EXPECT_EQ(device_.confd.opened_sessions, device_.confd.closed_sessions);
}

TEST_F(ListenRulesTest, OtherExceptionBecomesAFaultWithoutItsText) {
  LoadOne();
  const boost::any context = handler_.get();
  for (int i = 0; i < 3; ++i) ThrowOther();
  CallBack(context);
  EXPECT_EQ(FaultLines(), FaultOfEach("UNEXPECTED"));
}

TEST_F(ListenRulesTest, WrongContextBecomesAFault) {
  const std::string error = "boost::bad_any_cast: failed conversion using boost::any_cast";
  const boost::any context = 5;
  CallBack(context);
  EXPECT_EQ(FaultLines(), FaultOfEach(error));
  EXPECT_THAT(device_.rules.calls, IsEmpty());
}

TEST_F(ListenRulesTest, CleanUpWithoutARecordIsAFault) {
  CleanupRules("l3-x", handler_.get());
  EXPECT_THAT(FaultLines(),
              ElementsAre(listening::Fault("CleanupRules",
                                           "map::at: could not del rules for interface "
                                           "l3-x")));
  EXPECT_THAT(device_.rules.calls, IsEmpty());
}

TEST_F(ListenRulesTest, SessionThatCannotBeOpenedBecomesAFault) {
  device_.confd.RefuseNext("session open", CONFD_ERR_EXTERNAL, "no session");
  SetRules("l3-eth1", kComplete, handler_.get());
  EXPECT_THAT(FaultLines(),
              ElementsAre(listening::Fault(
                  "SetRules", "no session: could not set rules for interface l3-eth1")));
}

}  // namespace
