// The bind probe, on real sockets of the loopback interface.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "agent_test.h"
#include "udp_socket.h"

namespace {

using ::testing::ElementsAre;

class BindAgentTest : public AgentTest {
 protected:
  BindAgentTest() : open_files_(OpenFiles()) {}
  ~BindAgentTest() override { EXPECT_EQ(open_files_, OpenFiles()) << "a probe's socket is open"; }

  /// The records of a probe of `address` and `port` that ended with one of `level` and `text`.
  void ExpectRecords(const std::string& address, uint16_t port, int level,
                     const std::string& text) const {
    EXPECT_THAT(LogLines(), ElementsAre(agent::Line("BindAgent", 10,
                                                    "Trying to bind to " + address + ":" +
                                                        std::to_string(port)),
                                        agent::Line("BindAgent", level, text)));
  }

  /// Probes while no socket can be made.
  void ProbeWithoutSocket(const std::string& address) {
    bool bound = true;
    {
      const NoMoreFiles guard;
      bound = handler_.BindAgent(address, agent::kPortNumber);
    }
    EXPECT_FALSE(bound);
  }

  long open_files_;
};

#define SKIP_WITHOUT_IPV6() \
  if (!HasIpv6()) GTEST_SKIP() << "this machine has no IPv6 loopback address"

TEST_F(BindAgentTest, BindsV4) {
  EXPECT_TRUE(handler_.BindAgent("127.0.0.1", agent::kPortNumber));
  ExpectRecords("127.0.0.1", agent::kPortNumber, 11, agent::kBound);
}

TEST_F(BindAgentTest, BindsV6) {
  SKIP_WITHOUT_IPV6();
  EXPECT_TRUE(handler_.BindAgent("::1", agent::kPortNumber));
  ExpectRecords("::1", agent::kPortNumber, 11, agent::kBound);
}

TEST_F(BindAgentTest, BindsWildcards) {
  EXPECT_TRUE(handler_.BindAgent("0.0.0.0", agent::kPortNumber));
  SKIP_WITHOUT_IPV6();
  EXPECT_TRUE(handler_.BindAgent("::", agent::kPortNumber));
}

TEST_F(BindAgentTest, PortIsPrintedUnsigned) {
  EXPECT_TRUE(handler_.BindAgent("127.0.0.1", 65535));
  ExpectRecords("127.0.0.1", 65535, 11, agent::kBound);
}

TEST_F(BindAgentTest, RefusesAbsentV4Address) {
  EXPECT_FALSE(handler_.BindAgent(agent::kAbsentAddress, agent::kPortNumber));
  ExpectRecords(agent::kAbsentAddress, agent::kPortNumber, 12,
                "Failed to bind to 192.0.2.1:10161 : Cannot assign requested address");
}

TEST_F(BindAgentTest, RefusesAbsentV6Address) {
  SKIP_WITHOUT_IPV6();
  EXPECT_FALSE(handler_.BindAgent("2001:db8::1", agent::kPortNumber));
  ExpectRecords("2001:db8::1", agent::kPortNumber, 12,
                "Failed to bind to 2001:db8::1:10161 : Cannot assign requested address");
}

TEST_F(BindAgentTest, RefusesPortThatAnotherHoldsAlone) {
  const UdpSocket holder(AF_INET, UdpSocket::kAlone);
  ++open_files_;
  EXPECT_FALSE(handler_.BindAgent("127.0.0.1", holder.Port()));
  ExpectRecords(
      "127.0.0.1", holder.Port(), 12,
      "Failed to bind to 127.0.0.1:" + std::to_string(holder.Port()) + " : Address already in use");
  EXPECT_EQ(open_files_--, OpenFiles());
}

TEST_F(BindAgentTest, RefusesV6PortThatAnotherHoldsAlone) {
  SKIP_WITHOUT_IPV6();
  const UdpSocket holder(AF_INET6, UdpSocket::kAlone);
  EXPECT_FALSE(handler_.BindAgent("::1", holder.Port()));
  ExpectRecords(
      "::1", holder.Port(), 12,
      "Failed to bind to ::1:" + std::to_string(holder.Port()) + " : Address already in use");
}

TEST_F(BindAgentTest, SharesPortWithHolderThatAllowsIt) {
  const UdpSocket holder(AF_INET, UdpSocket::kShared);
  EXPECT_TRUE(handler_.BindAgent("127.0.0.1", holder.Port()));
  ExpectRecords("127.0.0.1", holder.Port(), 11, agent::kBound);
}

TEST_F(BindAgentTest, SharesV6PortWithHolderThatAllowsIt) {
  SKIP_WITHOUT_IPV6();
  const UdpSocket holder(AF_INET6, UdpSocket::kShared);
  EXPECT_TRUE(handler_.BindAgent("::1", holder.Port()));
  ExpectRecords("::1", holder.Port(), 11, agent::kBound);
}

TEST_F(BindAgentTest, PortIsFreeAfterTheProbe) {
  uint16_t port = 0;
  {
    const UdpSocket holder(AF_INET, UdpSocket::kShared);
    port = holder.Port();
  }
  ASSERT_TRUE(handler_.BindAgent("127.0.0.1", port));
  EXPECT_TRUE(handler_.BindAgent("127.0.0.1", port));
}

TEST_F(BindAgentTest, DescriptorZeroIsASocketLikeAnyOther) {
  const UdpSocket holder(AF_INET, UdpSocket::kShared);
  const int standard_input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  const bool bound = handler_.BindAgent("127.0.0.1", holder.Port());
  const bool is_closed = fcntl(STDIN_FILENO, F_GETFD) == -1;
  if (!is_closed) close(STDIN_FILENO);
  if (standard_input >= 0) {
    dup2(standard_input, STDIN_FILENO);
    close(standard_input);
  }
  EXPECT_TRUE(bound);
  EXPECT_TRUE(is_closed);
  ExpectRecords("127.0.0.1", holder.Port(), 11, agent::kBound);
}

TEST_F(BindAgentTest, TellsThatNoV4SocketCanBeMade) {
  const std::string text = "Failed to create v4 socket for SNMP agent";
  ProbeWithoutSocket("127.0.0.1");
  ExpectRecords("127.0.0.1", agent::kPortNumber, 12, text);
  EXPECT_THAT(Formats(), ElementsAre("Trying to bind to %s:%hu", text));
}

TEST_F(BindAgentTest, TellsThatNoV6SocketCanBeMade) {
  const std::string text = "Failed to create v6 socket for SNMP agent";
  ProbeWithoutSocket("::1");
  ExpectRecords("::1", agent::kPortNumber, 12, text);
  EXPECT_THAT(Formats(), ElementsAre("Trying to bind to %s:%hu", text));
}

TEST_F(BindAgentTest, RefusesWhatIsNoAddressWithTheCurrentError) {
  for (const char* text : {"", "host", "10.0.0", "10.0.0.256", "127.0.0.1 ", "[::1]", "::1%lo",
                           "1:2:3:4:5:6:7:8:9", "/confdConfig/snmpAgent/ip"}) {
    ForgetRecords();
    errno = ENOENT;
    EXPECT_FALSE(handler_.BindAgent(text, agent::kPortNumber));
    ExpectRecords(text, agent::kPortNumber, 12,
                  "Could not set REUSEADDR to SNMP agent socket: No such file or directory");
  }
}

TEST_F(BindAgentTest, TellsSuccessAsErrorOfATextWhenNothingFailedBefore) {
  errno = 0;
  EXPECT_FALSE(handler_.BindAgent("host", 161));
  ExpectRecords("host", 161, 12, "Could not set REUSEADDR to SNMP agent socket: Success");
}

TEST_F(BindAgentTest, FailuresRaiseNoFault) {
  handler_.BindAgent("host", 161);
  handler_.BindAgent(agent::kAbsentAddress, 161);
  EXPECT_TRUE(device_.middleware.faults.empty());
}

TEST_F(BindAgentTest, ProbeItselfIsLoggedAtItsLevelsOnly) {
  device_.log.threshold = 11;
  EXPECT_TRUE(handler_.BindAgent("127.0.0.1", agent::kPortNumber));
  EXPECT_THAT(LogLines(), ElementsAre(agent::Line("BindAgent", 11, agent::kBound)));
}

}  // namespace
