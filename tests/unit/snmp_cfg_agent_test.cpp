// The agent handler: its construction, its subscription points and the changes it is told of.

#include <cerrno>
#include <limits>
#include <stdexcept>

#include "agent_test.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SnmpCfgAgentTest : public AgentTest {
 protected:
  confd_iter_ret Delete(const std::string& leaf) {
    confd_hkeypath_t kp = agent::LeafPath(leaf);
    return handler_.HandleCfg(&kp, MOP_DELETED, nullptr, nullptr);
  }
};

std::string Handle(int level, const std::string& text) {
  return agent::Line("HandleCfg", level, text);
}

TEST_F(SnmpCfgAgentTest, ConstructionMakesThePausedRetryTimerAndThenTheCategory) {
  const SnmpAgentCfgHandler handler;
  EXPECT_THAT(device_.journal, ElementsAre("timer new snmp-app-timer 5000", "timer pause",
                                           "category snmp-app-agent"));
  EXPECT_EQ(0, device_.clock.Running());
  EXPECT_FALSE(device_.clock.Alarms().back()->flag);
}

TEST_F(SnmpCfgAgentTest, SubscribesFourPointsInOrder) {
  struct Point {
    const char* path;
    int32_t priority;
  };
  const std::vector<Point> expected = {
      {agent::kExtra, 11}, {agent::kIp, 11}, {agent::kPort, 11}, {agent::kEnabled, 10}};
  const std::vector<vkconfd::SubscriptionPoint>& points = handler_.GetSubscriptionPoints();
  ASSERT_EQ(expected.size(), points.size());
  for (size_t i = 0; i < points.size(); ++i) {
    EXPECT_STREQ(expected[i].path, points[i].path);
    EXPECT_EQ(expected[i].priority, points[i].priority) << points[i].path;
    EXPECT_EQ(0x11E87650, points[i].ns) << points[i].path;
    EXPECT_EQ(0, points[i].iterate_flags) << points[i].path;
  }
}

TEST_F(SnmpCfgAgentTest, EveryPointCallsHandleCfgOfItsHandler) {
  for (const vkconfd::SubscriptionPoint& point : handler_.GetSubscriptionPoints()) {
    device_.log.records.clear();
    confd_hkeypath_t kp = agent::LeafPath("ip");
    EXPECT_EQ(ITER_CONTINUE, point.callback(&kp, MOP_DELETED, nullptr, nullptr));
    EXPECT_THAT(LogLines(), ElementsAre(Handle(10, "Called kp /confdConfig/snmpAgent/ip, op 2")))
        << point.path;
  }
}

TEST_F(SnmpCfgAgentTest, StartCommitOnlyLogs) {
  handler_.StartCommit();
  EXPECT_THAT(LogLines(), ElementsAre(agent::Line("StartCommit", 10,
                                                  "Starting commit of SNMP agent configuration.")));
  EXPECT_EQ(1U, device_.journal.size());
}

TEST_F(SnmpCfgAgentTest, EnabledIsTakenOver) {
  StartBound();
  EXPECT_EQ(ITER_CONTINUE, ChangeLeaf("enabled", common::MakeBool(false)));
  EXPECT_THAT(LogLines(), ElementsAre(Handle(10, "Called kp /confdConfig/snmpAgent/enabled, op 4"),
                                      Handle(10, "New value: false")));
  EXPECT_THAT(Apply(), IsEmpty());
  ChangeLeaf("enabled", common::MakeBool(true));
  EXPECT_THAT(Apply(), ElementsAre(agent::kRebound));
}

TEST_F(SnmpCfgAgentTest, ExtraListIsProbed) {
  StartBound();
  EXPECT_EQ(ITER_CONTINUE, ChangeLeaf("extraIpPorts", agent::List({"192.0.2.1:10161"})));
  EXPECT_THAT(LogLines()[1], Handle(10, "New value: [ 192.0.2.1:10161 ]"));
  EXPECT_THAT(Apply(), ElementsAre(agent::kRetryStarted));
  ChangeLeaf("extraIpPorts", agent::List({}));
  EXPECT_THAT(Apply(), ElementsAre(agent::kRebound));
}

TEST_F(SnmpCfgAgentTest, ChangeOfTheAddressProbesTheKeyPathAndStartsTheRetry) {
  StartBound();
  errno = 0;
  EXPECT_EQ(ITER_CONTINUE, ChangeLeaf("ip", common::MakeBuf("127.0.0.1")));
  EXPECT_THAT(
      LogLines(),
      ElementsAre(
          Handle(10, "Called kp /confdConfig/snmpAgent/ip, op 4"),
          Handle(10, "New value: 127.0.0.1"),
          agent::Line("BindAgent", 10, "Trying to bind to /confdConfig/snmpAgent/ip:10161"),
          agent::Line("BindAgent", 12, "Could not set REUSEADDR to SNMP agent socket: Success")));
  EXPECT_THAT(Apply(), ElementsAre(agent::kRetryStarted));
}

TEST_F(SnmpCfgAgentTest, ChangeOfThePortProbesTheStoredAddress) {
  StartBound();
  EXPECT_EQ(ITER_CONTINUE, ChangeLeaf("port", common::MakeUint16(10163)));
  EXPECT_THAT(LogLines(),
              ElementsAre(Handle(10, "Called kp /confdConfig/snmpAgent/port, op 4"),
                          Handle(10, "New value: 10163"),
                          agent::Line("BindAgent", 10, "Trying to bind to 127.0.0.1:10163"),
                          agent::Line("BindAgent", 11, agent::kBound)));
  EXPECT_THAT(Apply(), ElementsAre(agent::kRebound));
}

TEST_F(SnmpCfgAgentTest, ChangeOfThePortAfterOneOfTheAddressProbesTheKeyPathAgain) {
  StartBound();
  ChangeLeaf("ip", common::MakeBuf("127.0.0.1"));
  ForgetRecords();
  ChangeLeaf("port", common::MakeUint16(10163));
  EXPECT_THAT(device_.Events("log BindAgent: Trying"),
              ElementsAre("log BindAgent: Trying to bind to /confdConfig/snmpAgent/ip:10163"));
}

TEST_F(SnmpCfgAgentTest, OtherTagIsIgnoredWithItsSignedNumber) {
  StartBound();
  confd_hkeypath_t kp = agent::LeafPath("ip");
  kp.v[0][0] = common::MakeTag(std::numeric_limits<uint32_t>::max() - 1, 0);
  confd_value_t value = common::MakeUint16(7);
  EXPECT_EQ(ITER_CONTINUE, handler_.HandleCfg(&kp, MOP_VALUE_SET, nullptr, &value));
  EXPECT_THAT(LogLines(), ElementsAre(Handle(10, "Called kp , op 4"), Handle(10, "New value: 7"),
                                      Handle(12, "Ignoring tag -2")));
  EXPECT_THAT(Apply(), ElementsAre(agent::kRebound));
}

TEST_F(SnmpCfgAgentTest, DeletionChangesNothingButIsReadyForARebindAgain) {
  for (const char* leaf : {"ip", "port", "enabled", "extraIpPorts"}) {
    StartBound();
    EXPECT_EQ(ITER_CONTINUE, Delete(leaf));
    EXPECT_THAT(LogLines(),
                ElementsAre(Handle(
                    10, std::string("Called kp /confdConfig/snmpAgent/") + leaf + ", op 2")));
    EXPECT_THAT(Apply(), ElementsAre(agent::kRebound)) << leaf;
  }
}

TEST_F(SnmpCfgAgentTest, DeletedAddressAndPortAreProbedAsTheyWere) {
  StartBound();
  Delete("ip");
  ForgetRecords();
  ChangeLeaf("port", common::MakeUint16(10163));
  EXPECT_THAT(LogLines(),
              Contains(agent::Line("BindAgent", 10, "Trying to bind to 127.0.0.1:10163")));
  Delete("port");
  ForgetRecords();
  ChangeLeaf("ip", common::MakeBuf("127.0.0.2"));
  EXPECT_THAT(
      LogLines(),
      Contains(agent::Line("BindAgent", 10, "Trying to bind to /confdConfig/snmpAgent/ip:10163")));
}

TEST_F(SnmpCfgAgentTest, ChangeWithoutNewValueDoesNotLookAtTheKeyPath) {
  confd_hkeypath_t kp = agent::LeafPath("ip");
  kp.v[0][0] = common::MakeUint16(1);
  for (const confd_iter_op op : {MOP_NOP, MOP_DELETED, MOP_MODIFIED, MOP_VALUE_SET}) {
    EXPECT_EQ(ITER_CONTINUE, handler_.HandleCfg(&kp, op, nullptr, nullptr));
  }
  EXPECT_THAT(device_.Events("log BindAgent"), IsEmpty());
}

TEST_F(SnmpCfgAgentTest, OtherKindsOfChangeTakeTheNewValue) {
  for (const confd_iter_op op : {MOP_NOP, MOP_DELETED, MOP_MODIFIED}) {
    ForgetRecords();
    confd_hkeypath_t kp = agent::LeafPath("port");
    confd_value_t value = common::MakeUint16(10164);
    EXPECT_EQ(ITER_CONTINUE, handler_.HandleCfg(&kp, op, nullptr, &value));
    EXPECT_THAT(device_.Events("log BindAgent: Trying"),
                ElementsAre("log BindAgent: Trying to bind to :10164"))
        << op;
  }
}

TEST_F(SnmpCfgAgentTest, CreatedEntryHasNameAndValueFromTheKeyPath) {
  StartBound();
  const common::OwnedValue key(common::MakeBuf("127.0.0.1:10162"));
  common::OwnedValue other(common::MakeBuf("192.0.2.1:10161"));
  confd_hkeypath_t kp = EntryPath({"confdConfig", "snmpAgent", "extraIpPorts"}, key.Value());
  for (confd_value_t* new_value : {static_cast<confd_value_t*>(nullptr), other.Get()}) {
    ForgetRecords();
    EXPECT_EQ(ITER_CONTINUE, handler_.HandleCfg(&kp, MOP_CREATED, nullptr, new_value));
    EXPECT_THAT(
        LogLines(),
        ElementsAre(
            Handle(10, "Called kp /confdConfig/snmpAgent/extraIpPorts{127.0.0.1:10162}, op 1"),
            Handle(10, "New value: 127.0.0.1:10162"),
            agent::Line("BindExtra", 10, "Extra list: 127.0.0.1:10162"),
            agent::Line("BindExtra", 10, "Processing 127.0.0.1:10162"),
            agent::Line("BindExtra", 10, "IP: 127.0.0.1, port 10162"),
            agent::Line("BindAgent", 10, "Trying to bind to 127.0.0.1:10162"),
            agent::Line("BindAgent", 11, agent::kBound)));
  }
}

TEST_F(SnmpCfgAgentTest, KeyPathTextIsCutTo128BytesAndValueTextTo8192) {
  const common::OwnedValue key(common::MakeBuf(std::string(9000, 'k')));
  confd_hkeypath_t kp = EntryPath({"confdConfig", "snmpAgent", "ip"}, key.Value());
  handler_.HandleCfg(&kp, MOP_CREATED, nullptr, nullptr);
  const std::string path = ("/confdConfig/snmpAgent/ip{" + std::string(9000, 'k')).substr(0, 127);
  ASSERT_LE(3U, LogLines().size());
  EXPECT_EQ(Handle(10, "Called kp " + path + ", op 1"), LogLines()[0]);
  EXPECT_EQ(Handle(10, "New value: " + std::string(8191, 'k')), LogLines()[1]);
  EXPECT_EQ(agent::Line("BindAgent", 10, "Trying to bind to " + path + ":0"), LogLines()[2]);
}

TEST_F(SnmpCfgAgentTest, ValueIsNotPrintedWhenDetailIsOff) {
  device_.log.threshold = 11;
  ChangeLeaf("port", common::MakeUint16(10161));
  ChangeLeaf("enabled", common::MakeBool(true));
  EXPECT_EQ(0, device_.confd.printed_values);
}

TEST_F(SnmpCfgAgentTest, ExtraPortThatIsNoNumberThrowsOutOfTheCallback) {
  try {
    ChangeLeaf("extraIpPorts", agent::List({"127.0.0.1:999999999999999999999999"}));
    FAIL() << "no exception";
  } catch (const std::out_of_range& exception) {
    EXPECT_STREQ("stoul", exception.what());
  }
}

}  // namespace
