#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <optional>
#include <vector>

#include "libiptools/iptools.h"
#include "network.h"
#include "rules/rules.h"
#include "runtime/log.h"
#include "runtime/process.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class LibiptoolsTest : public NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    if (IsSkipped()) return;
    rules_.emplace();
    rules_->Settle();
    process_.rules = &*rules_;
  }

  int Change(bool add, unsigned int vrf = 100, unsigned int port = 161,
             unsigned int redirect_port = 60600, ip_proto proto = IP_PROTO_UDP,
             target_action action = TARGET_REDIRECT) {
    return libiptools::Iptools(7, LogCategory())
        .addDelRuleSnmpListenIntf(add, "eth1", vrf, port, redirect_port, proto, action);
  }

  std::optional<Rules> rules_;
  Process process_;
};

TEST(LibiptoolsWithoutRules, RefusesAll) {
  libiptools::Iptools iptools(7, LogCategory());
  EXPECT_NE(iptools.addDelRuleSnmpListenIntf(true, "eth1", 100, 161, 60600, IP_PROTO_UDP,
                                             TARGET_REDIRECT),
            0);
  EXPECT_NE(iptools.addDelIPRuleIntf(false, 300, nettypes::IPv4Addr(in_addr{}), 162, IP_PROTO_UDP),
            0);
}

TEST_F(LibiptoolsTest, AddsAndDeletesOneRedirect) {
  EXPECT_EQ(Change(true), 0);
  EXPECT_EQ(Change(true), 0);
  EXPECT_THAT(Nft("list ruleset"), HasSubstr("\"eth1\" . 161 : 60600"));
  EXPECT_THAT(Output("ip rule show"), HasSubstr("fwmark 0x64 lookup 100"));
  EXPECT_EQ(Change(false), 0);
  EXPECT_EQ(Change(false), 0);
  EXPECT_THAT(Nft("list ruleset"), Not(HasSubstr("eth1")));
}

TEST_F(LibiptoolsTest, OutlivesTheCaller) {
  { EXPECT_EQ(Change(true), 0); }
  EXPECT_THAT(Nft("list ruleset"), HasSubstr("\"eth1\" . 161 : 60600"));
}

TEST_F(LibiptoolsTest, RefusesWhatItCannotDo) {
  const int before = KernelCalls();
  EXPECT_NE(Change(true, 100, 161, 60600, IP_PROTO_TCP), 0);
  EXPECT_NE(Change(true, 100, 161, 60600, IP_PROTO_UDP, TARGET_ACCEPT), 0);
  EXPECT_NE(Change(true, 0), 0);
  EXPECT_NE(Change(true, 100, 0), 0);
  EXPECT_NE(Change(true, 100, 65536 + 161), 0);
  EXPECT_NE(Change(true, 100, 161, 65536 + 600), 0);
  EXPECT_EQ(KernelCalls(), before);
}

TEST_F(LibiptoolsTest, ARefusalByTheKernelIsTheResult) {
  EXPECT_EXIT(
      {
        DropCapabilities();
        ::_exit(Change(true) == 0 ? 1 : 0);
      },
      ::testing::ExitedWithCode(0), "Rule not added port 161 to 60600 on eth1, VRF 100");
}

class DestinationTest : public LibiptoolsTest {
 protected:
  static int ChangeTo(const nettypes::IPAddr& address, bool add, unsigned int vrf = 300,
                      unsigned int port = 162, ip_proto proto = IP_PROTO_UDP) {
    return libiptools::Iptools(7, LogCategory()).addDelIPRuleIntf(add, vrf, address, port, proto);
  }
  static int Change(bool add, unsigned int vrf = 300, unsigned int port = 162,
                    ip_proto proto = IP_PROTO_UDP) {
    return ChangeTo(Ipv4(), add, vrf, port, proto);
  }

  static nettypes::IPv4Addr Ipv4() {
    in_addr address = {};
    inet_pton(AF_INET, "192.0.2.7", &address);
    return nettypes::IPv4Addr(address);
  }
  static nettypes::IPv6Addr Ipv6() {
    in6_addr address = {};
    inet_pton(AF_INET6, "2001:db8::7", &address);
    return nettypes::IPv6Addr(address, nettypes::MACAddr());
  }

  /// How many rules of a family lead `port` of the test's address to `table`.
  static int Count(const std::string& family, unsigned int table = 300, unsigned int port = 162) {
    const std::string address = family == "-4" ? "192.0.2.7" : "2001:db8::7";
    return CountLines(Output("ip " + family + " rule show"),
                      "1400:\tfrom all to " + address + " ipproto udp dport " +
                          std::to_string(port) + " lookup " + std::to_string(table) + " proto 175");
  }
};

TEST_F(DestinationTest, OneDeletionTakesItBackHoweverOftenItWasAdded) {
  EXPECT_EQ(Change(true), 0);
  EXPECT_EQ(Count("-4"), 1) << Output("ip rule show");
  const int before = KernelCalls();
  EXPECT_EQ(Change(true), 0);
  EXPECT_EQ(KernelCalls(), before) << "it is there";
  EXPECT_EQ(Change(false), 0);
  EXPECT_EQ(KernelCalls(), before + 1);
  EXPECT_EQ(Count("-4"), 0);
}

TEST_F(DestinationTest, DeletionOfWhatIsNotThereIsDone) {
  ASSERT_EQ(Change(true), 0);
  const std::string rules = Output("ip rule show");
  EXPECT_EQ(Change(false, 301), 0);
  EXPECT_EQ(Change(false, 300, 163), 0);
  EXPECT_EQ(ChangeTo(Ipv6(), false), 0);
  EXPECT_EQ(Output("ip rule show"), rules);
}

TEST_F(DestinationTest, RulesOfOneDestinationAreTheirTables) {
  EXPECT_EQ(Change(true), 0);
  EXPECT_EQ(Change(true, 4294967295U), 0);
  EXPECT_EQ(Change(true, 300, 65534), 0);
  EXPECT_EQ(Change(false), 0);
  EXPECT_EQ(Count("-4"), 0);
  EXPECT_EQ(Count("-4", 4294967295U), 1) << Output("ip rule show");
  EXPECT_EQ(Count("-4", 300, 65534), 1);
}

TEST_F(DestinationTest, TheKernelHasNoRuleForTheLastPort) {
  EXPECT_NE(Change(true, 300, 65535), 0);
  EXPECT_EQ(Count("-4", 300, 65535), 0);
  EXPECT_EQ(Change(false, 300, 65535), 0) << "it is not there";
}

TEST_F(DestinationTest, TakesIpv6Addresses) {
  EXPECT_EQ(ChangeTo(Ipv6(), true), 0);
  EXPECT_EQ(Count("-6"), 1) << Output("ip -6 rule show");
  EXPECT_EQ(ChangeTo(Ipv6(), false), 0);
  EXPECT_EQ(Count("-6"), 0);
}

TEST_F(DestinationTest, RefusesWhatItCannotDo) {
  const int before = KernelCalls();
  for (const bool add : {true, false}) {
    EXPECT_NE(Change(add, 300, 162, IP_PROTO_TCP), 0);
    EXPECT_NE(Change(add, 300, 0), 0);
    EXPECT_NE(Change(add, 300, 65536), 0);
    EXPECT_NE(Change(add, 300, 65536 + 162), 0);
    EXPECT_NE(Change(add, 0), 0);
  }
  EXPECT_EQ(KernelCalls(), before);
}

TEST_F(DestinationTest, RefusalByTheKernelIsTheResultAndIsTriedAgain) {
  EXPECT_EXIT(
      {
        DropCapabilities();
        const bool refused = Change(true) != 0;
        const int before = KernelCalls();
        ::_exit(refused && Change(true) != 0 && KernelCalls() > before ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "Routing rule not added for 192.0.2.7 port 162, VRF 300");
}

TEST_F(DestinationTest, RefusedDeletionIsTheResultToo) {
  EXPECT_EXIT(
      {
        const bool added = Change(true) == 0;
        DropCapabilities();
        ::_exit(added && Change(false) != 0 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "Routing rule not deleted for 192.0.2.7 port 162, VRF 300");
}

TEST_F(DestinationTest, RuleThatIsStillWantedStays) {
  std::vector<DestinationRule> asked;
  bool wanted = true;
  rules_->SetDestinationQuery([&](const DestinationRule& rule) {
    asked.push_back(rule);
    return wanted;
  });
  ASSERT_EQ(Change(true), 0);
  EXPECT_TRUE(asked.empty()) << "asked for an addition";
  const int before = KernelCalls();
  EXPECT_EQ(Change(false), 0);
  EXPECT_EQ(KernelCalls(), before);
  EXPECT_EQ(Count("-4"), 1);
  ASSERT_EQ(asked.size(), 1U);
  EXPECT_EQ(asked[0].address.to_string(), "192.0.2.7");
  EXPECT_EQ(asked[0].port, 162);
  EXPECT_EQ(asked[0].table, 300U);
  wanted = false;
  EXPECT_EQ(Change(false), 0);
  EXPECT_EQ(Count("-4"), 0);
}

}  // namespace
}  // namespace host::test
