// The load of the agent's configuration.

#include "agent_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class AgentLoadTest : public AgentTest {};

std::string Record(int level, const std::string& text) {
  return agent::Line("LoadInitialConfig", level, text);
}

TEST_F(AgentLoadTest, LoadReadsAndProbesInOrder) {
  Configure(true, "127.0.0.1", 10161, {"127.0.0.1:10162"});
  Load();
  EXPECT_THAT(
      device_.journal,
      ElementsAre(
          "session open 1", "log LoadInitialConfig: Loading SNMP agent configuration",
          std::string("cdb_get ") + agent::kExtra,
          "log LoadInitialConfig: Extra listen list: [ 127.0.0.1:10162 ]",
          "log BindExtra: Extra list: [ 127.0.0.1:10162 ]", "log BindExtra: Processing [",
          "log BindExtra: Processing 127.0.0.1:10162", "log BindExtra: IP: 127.0.0.1, port 10162",
          "log BindAgent: Trying to bind to 127.0.0.1:10162",
          std::string("log BindAgent: ") + agent::kBound, "log BindExtra: Processing ]",
          std::string("cdb_get ") + agent::kIp,
          "log LoadInitialConfig: Agent IP address: 127.0.0.1",
          std::string("cdb_get ") + agent::kPort, "log LoadInitialConfig: Agent port number: 10161",
          "log BindAgent: Trying to bind to 127.0.0.1:10161",
          std::string("log BindAgent: ") + agent::kBound, std::string("cdb_get ") + agent::kEnabled,
          "log LoadInitialConfig: Agent is enabled: 1", "session close"));
}

TEST_F(AgentLoadTest, LoadLogsUnderItsCategoryAndLevels) {
  Configure(false, "127.0.0.1", 10161, {});
  Load();
  EXPECT_THAT(
      LogLines(),
      ElementsAre(Record(11, "Loading SNMP agent configuration"),
                  Record(10, "Extra listen list: [ ]"),
                  agent::Line("BindExtra", 10, "Extra list: "),
                  Record(10, "Agent IP address: 127.0.0.1"), Record(10, "Agent port number: 10161"),
                  agent::Line("BindAgent", 10, "Trying to bind to 127.0.0.1:10161"),
                  agent::Line("BindAgent", 11, agent::kBound), Record(10, "Agent is enabled: 0")));
}

TEST_F(AgentLoadTest, HandlerWithoutAnyConfigurationLoadsAndApplies) {
  Load();
  handler_.ApplyInitialConfig();
  EXPECT_THAT(LogLines(), ElementsAre(Record(11, "Loading SNMP agent configuration")));
  EXPECT_THAT(device_.Events("cdb_get"), ElementsAre(std::string("cdb_get ") + agent::kExtra,
                                                     std::string("cdb_get ") + agent::kIp,
                                                     std::string("cdb_get ") + agent::kEnabled));
  EXPECT_THAT(device_.Events("timer"), IsEmpty());
  EXPECT_THAT(device_.confd.rebinds, IsEmpty());
}

TEST_F(AgentLoadTest, ExtraListThatWasNeverReadIsNotBound) {
  Configure(true, "127.0.0.1", agent::kPortNumber, {});
  device_.confd.RefuseNext(std::string("cdb_get ") + agent::kExtra, CONFD_ERR_NOEXISTS, "gone");
  Load();
  EXPECT_THAT(Apply(), ElementsAre(agent::kRetryStarted));
}

TEST_F(AgentLoadTest, AddressThatWasNeverReadIsNotBound) {
  Configure(true, "127.0.0.1", agent::kPortNumber, {});
  device_.confd.RefuseNext(std::string("cdb_get ") + agent::kIp, CONFD_ERR_NOEXISTS, "gone");
  Load();
  EXPECT_THAT(Apply(), ElementsAre(agent::kRetryStarted));
}

TEST_F(AgentLoadTest, UnreadableExtraListKeepsItsProbeResult) {
  StartBound();
  device_.confd.RefuseNext(std::string("cdb_get ") + agent::kExtra, CONFD_ERR_NOEXISTS, "gone");
  Load();
  EXPECT_THAT(Apply(), ElementsAre(agent::kRebound));
}

TEST_F(AgentLoadTest, UnreadableAddressKeepsItsProbeResultAndThePortIsNotRead) {
  StartBound();
  device_.confd.RefuseNext(std::string("cdb_get ") + agent::kIp, CONFD_ERR_NOEXISTS, "gone");
  Load();
  EXPECT_THAT(device_.Events(std::string("cdb_get ") + agent::kPort), IsEmpty());
  EXPECT_THAT(device_.Events("log BindAgent"), IsEmpty());
  EXPECT_THAT(Apply(), ElementsAre(agent::kRebound));
}

TEST_F(AgentLoadTest, UnreadablePortKeepsThePortAndTheProbeResult) {
  StartBound();
  device_.confd.running.Set(agent::kIp, common::MakeBuf("127.0.0.2"));
  device_.confd.RefuseNext(std::string("cdb_get ") + agent::kPort, CONFD_ERR_NOEXISTS, "gone");
  Load();
  EXPECT_THAT(device_.Events("log BindAgent"), IsEmpty());
  EXPECT_THAT(device_.Events("log LoadInitialConfig: Agent IP"),
              ElementsAre("log LoadInitialConfig: Agent IP address: 127.0.0.2"));
  EXPECT_THAT(Apply(), ElementsAre(agent::kRebound));
}

TEST_F(AgentLoadTest, UnreadableEnableFlagKeepsItsValue) {
  StartBound();
  device_.confd.running.Set(agent::kEnabled, common::MakeBool(false));
  device_.confd.RefuseNext(std::string("cdb_get ") + agent::kEnabled, CONFD_ERR_NOEXISTS, "gone");
  Load();
  EXPECT_THAT(device_.Events("log LoadInitialConfig: Agent is"), IsEmpty());
  EXPECT_THAT(Apply(), ElementsAre(agent::kRebound));
}

TEST_F(AgentLoadTest, ReadFailuresRaiseNoFaultAndNoRecord) {
  const int no_session = 5;
  handler_.LoadInitialConfig(no_session);
  EXPECT_THAT(LogLines(), ElementsAre(Record(11, "Loading SNMP agent configuration")));
  EXPECT_THAT(device_.middleware.faults, IsEmpty());
}

TEST_F(AgentLoadTest, AddressTextIsCutTo8192Bytes) {
  Configure(true, std::string(9000, 'a'), 10161, {});
  Load();
  const std::string cut(8191, 'a');
  EXPECT_THAT(device_.Events("log LoadInitialConfig: Agent IP"),
              ElementsAre("log LoadInitialConfig: Agent IP address: " + cut));
  EXPECT_THAT(device_.Events("log BindAgent: Trying"),
              ElementsAre("log BindAgent: Trying to bind to " + cut + ":10161"));
}

TEST_F(AgentLoadTest, LoadPrintsOnlyWhatItNeedsWhenDetailIsOff) {
  Configure(true, "127.0.0.1", 10161, {"127.0.0.1:10162"});
  device_.log.threshold = 11;
  Load();
  // The list for its entries and the address for its text.
  EXPECT_EQ(2, device_.confd.printed_values);
}

}  // namespace
