// The rule library: facts of interfaces, redirects and routing rules.

#include <arpa/inet.h>

#include "contract_test.h"
#include "libiptools/iptools.h"
#include "vkmw/vkmw.h"

namespace contract {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class RuleLibraryTest : public ContractTest {
 protected:
  static Configuration Interfaces() {
    Configuration configuration;
    configuration.vrfs = {{"red", 256}};
    configuration.l3 = {
        {"eth0", "red", "veth0", "10.0.0.1/24", {"2001:db8::2/64", "2001:db8::1/64"}}, {"eth1"}};
    return configuration;
  }

  /// "IPv4 IPv6 VRF kernel-name" of a listening interface, as a database has it.
  std::string Facts(const std::string& name, cdb_db_type database = CDB_RUNNING) {
    const VkConfdCdbSession session(handler_.Interface(), database, true);
    std::string ipv4 = "before";
    std::string ipv6 = "before";
    uint32_t vrf = 7;
    libiptools::GetVrfSourceInterfaceIP(category_, session.Socket(), name, ipv4, ipv6, vrf);
    return ipv4 + " " + ipv6 + " " + std::to_string(vrf) + " " +
           libiptools::TranslateSource(session.Socket(), name);
  }

  zlog_category_s* category_ = vkmw_trace_register_category("contract");
};

TEST_F(RuleLibraryTest, FactsOfAnInterface) {
  Start(Interfaces(), {&handler_});
  EXPECT_EQ(Facts("l3-eth0"), "10.0.0.1 2001:db8::2 256 veth0");
}

TEST_F(RuleLibraryTest, InterfaceWithoutAnythingHasItsNameOnly) {
  Start(Interfaces(), {&handler_});
  EXPECT_EQ(Facts("l3-eth1"), "  0 eth1");
  EXPECT_EQ(Facts("l3-none"), "  0 none") << "as one that is not there";
}

TEST_F(RuleLibraryTest, FactsAreThoseOfTheDatabaseThatIsRead) {
  std::vector<std::string> facts;
  handler_.Follow("/config/interface/l3", 1);
  handler_.on_change = [&](confd_hkeypath_t* /*kp*/) {
    facts = {Facts("l3-eth0", CDB_PRE_COMMIT_RUNNING), Facts("l3-eth0", CDB_RUNNING)};
  };
  Start(Interfaces(), {&handler_});
  Configuration after = Interfaces();
  after.l3[0] = {"eth0", "", "other", "10.0.0.2/24"};
  EXPECT_TRUE(platform_->Commit(after));
  EXPECT_THAT(facts, ElementsAre("10.0.0.1 2001:db8::2 256 veth0", "10.0.0.2  0 other"));
}

/// Changes rules in a network of its own.
class RuleTest : public RuleLibraryTest {
 protected:
  void SetUp() override {
    const std::string refused = platform_->EnterNetwork();
    if (!refused.empty()) GTEST_SKIP() << "no network namespace can be made: " << refused;
    Start(Interfaces(), {&handler_});
    platform_->WatchLog();
    session_ = std::make_unique<VkConfdCdbSession>(handler_.Interface(), CDB_RUNNING, true);
    iptools_ = std::make_unique<libiptools::Iptools>(session_->Socket(), category_);
  }

  struct Redirect {
    unsigned int vrf = 256;
    unsigned int port = 161;
    unsigned int redirect_port = 60600;
    ip_proto proto = IP_PROTO_UDP;
    target_action action = TARGET_REDIRECT;
  };

  int Change(bool add, const Redirect& rule) {
    return iptools_->addDelRuleSnmpListenIntf(add, "veth0", rule.vrf, rule.port, rule.redirect_port,
                                              rule.proto, rule.action);
  }

  int Route(bool add, unsigned int vrf, unsigned int port, ip_proto proto = IP_PROTO_UDP) {
    in_addr address = {};
    inet_pton(AF_INET, "192.0.2.1", &address);
    return iptools_->addDelIPRuleIntf(add, vrf, nettypes::IPv4Addr(address), port, proto);
  }

  /// Expects a refusal and its reason in the log.
  void ExpectRefused(int result, const std::string& what) {
    EXPECT_NE(result, 0) << what;
    EXPECT_THAT(platform_->TakeLog("contract"), Not(IsEmpty())) << what;
  }

  std::unique_ptr<VkConfdCdbSession> session_;
  std::unique_ptr<libiptools::Iptools> iptools_;
};

TEST_F(RuleTest, RedirectIsAddedAndDeletedAlsoTwice) {
  for (const bool add : {false, true, true, false, false, true, false}) {
    EXPECT_EQ(Change(add, {}), 0) << add;
  }
  EXPECT_THAT(platform_->TakeLog("contract"), IsEmpty());
}

TEST_F(RuleTest, RedirectThatCannotBeIsRefused) {
  for (const bool add : {true, false}) {
    ExpectRefused(Change(add, {0}), "no VRF");
    ExpectRefused(Change(add, {256, 0}), "no port");
    ExpectRefused(Change(add, {256, 65536 + 161}), "no 16 bits");
    ExpectRefused(Change(add, {256, 161, 0}), "no redirect port");
    ExpectRefused(Change(add, {256, 161, 65536 + 60600}), "no 16 bits to redirect to");
    ExpectRefused(Change(add, {256, 161, 60600, IP_PROTO_TCP}), "no UDP");
    ExpectRefused(Change(add, {256, 161, 60600, IP_PROTO_UDP, TARGET_ACCEPT}), "no redirect");
  }
}

TEST_F(RuleTest, RoutingRuleIsAddedAndDeletedAlsoTwice) {
  for (const bool add : {false, true, true, false, false, true, false}) {
    EXPECT_EQ(Route(add, 256, 162), 0) << add;
  }
  EXPECT_THAT(platform_->TakeLog("contract"), IsEmpty());
}

TEST_F(RuleTest, RoutingRuleOfAnIpv6Address) {
  in6_addr address = {};
  inet_pton(AF_INET6, "2001:db8::5", &address);
  const nettypes::IPv6Addr target(address, nettypes::MACAddr());
  for (const bool add : {true, true, false, false}) {
    EXPECT_EQ(iptools_->addDelIPRuleIntf(add, 256, target, 162, IP_PROTO_UDP), 0) << add;
  }
}

TEST_F(RuleTest, RoutingRuleThatCannotBeIsRefused) {
  for (const bool add : {true, false}) {
    ExpectRefused(Route(add, 0, 162), "no VRF");
    ExpectRefused(Route(add, 256, 0), "no port");
    ExpectRefused(Route(add, 256, 65536 + 162), "no 16 bits");
    ExpectRefused(Route(add, 256, 162, IP_PROTO_TCP), "no UDP");
  }
}

}  // namespace
}  // namespace contract
