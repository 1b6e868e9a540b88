#include "rules/policy_rules.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "network.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kNoFile[] = "/nonexistent";

std::string Ipv4Rules() { return Output("ip -4 rule show"); }
std::string Ipv6Rules() { return Output("ip -6 rule show"); }

class PolicyRulesTest : public NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    if (!IsSkipped()) rules_ = std::make_unique<PolicyRules>(kNoFile);
  }

  std::unique_ptr<PolicyRules> rules_;
};

DestinationRule Destination(const char* address) {
  return {boost::asio::ip::make_address(address), 162, 300};
}

TEST_F(PolicyRulesTest, AMarkIsOneRuleInBothFamilies) {
  ASSERT_TRUE(rules_->AddMark(100));
  for (const std::string& rules : {Ipv4Rules(), Ipv6Rules()}) {
    EXPECT_EQ(CountLines(rules, "1500:\tfrom all fwmark 0x64 lookup 100 proto 175"), 1) << rules;
  }
}

TEST_F(PolicyRulesTest, IsThereForAsManyAsAddedIt) {
  ASSERT_TRUE(rules_->AddMark(100));
  const int before = KernelCalls();
  EXPECT_TRUE(rules_->AddMark(100));
  EXPECT_TRUE(rules_->DeleteMark(100));
  EXPECT_TRUE(rules_->DeleteMark(200));
  EXPECT_EQ(KernelCalls(), before);
  EXPECT_EQ(CountLines(Ipv4Rules(), "proto 175"), 1);
  EXPECT_TRUE(rules_->DeleteMark(100));
  EXPECT_EQ(KernelCalls(), before + 2);
  EXPECT_EQ(CountLines(Ipv4Rules() + Ipv6Rules(), "proto 175"), 0);
}

TEST_F(PolicyRulesTest, TakesNumbersOfTablesOfAnySize) {
  EXPECT_TRUE(rules_->AddMark(4294967295U));
  EXPECT_THAT(Ipv4Rules(), HasSubstr("fwmark 0xffffffff lookup 4294967295"));
  EXPECT_TRUE(rules_->DeleteMark(4294967295U));
  EXPECT_THAT(Ipv4Rules(), Not(HasSubstr("fwmark")));
  EXPECT_FALSE(rules_->AddMark(0));
}

TEST_F(PolicyRulesTest, ADestinationIsOneRuleOfItsFamily) {
  ASSERT_TRUE(rules_->AddDestination(Destination("192.0.2.7")));
  EXPECT_TRUE(rules_->AddDestination(Destination("192.0.2.7")));
  ASSERT_TRUE(rules_->AddDestination(Destination("2001:db8::7")));
  EXPECT_EQ(
      CountLines(Ipv4Rules(), "1400:\tfrom all to 192.0.2.7 ipproto udp dport 162 lookup 300"), 1)
      << Ipv4Rules();
  EXPECT_EQ(
      CountLines(Ipv6Rules(), "1400:\tfrom all to 2001:db8::7 ipproto udp dport 162 lookup 300"), 1)
      << Ipv6Rules();
  EXPECT_TRUE(rules_->DeleteDestination(Destination("192.0.2.7")));
  EXPECT_THAT(Ipv4Rules(), Not(HasSubstr("192.0.2.7")));
  EXPECT_THAT(Ipv6Rules(), HasSubstr("2001:db8::7"));
  const int before = KernelCalls();
  EXPECT_TRUE(rules_->DeleteDestination(Destination("192.0.2.7")));
  EXPECT_EQ(KernelCalls(), before) << "it is gone";
}

TEST_F(PolicyRulesTest, RemovesItsRulesAtTheEnd) {
  const std::string before = Ipv4Rules() + Ipv6Rules();
  ASSERT_TRUE(rules_->AddMark(100));
  ASSERT_TRUE(rules_->AddMark(200));
  ASSERT_TRUE(rules_->AddDestination(Destination("192.0.2.7")));
  ASSERT_NE(Ipv4Rules() + Ipv6Rules(), before);
  rules_.reset();
  EXPECT_EQ(Ipv4Rules() + Ipv6Rules(), before);
}

TEST_F(PolicyRulesTest, SweepsThousandsOfAnEarlierRunAndNothingElse) {
  Output("ip rule add iif lo fwmark 9 lookup 100 priority 1500");
  Output("ip -6 rule add fwmark 9 lookup 100 priority 1500 protocol 4");
  const std::string before = Ipv4Rules() + Ipv6Rules();
  Output(
      "for i in $(seq 2000); do echo rule add fwmark $i to 10.0.0.$((i % 256)) ipproto udp"
      " dport $i lookup $i priority $((1000 + i)) protocol 175; done | ip -batch -");
  Output("ip -6 rule add fwmark 7 lookup 7 priority 1500 protocol 175");
  ASSERT_EQ(CountLines(Ipv4Rules() + Ipv6Rules(), "proto 175"), 2001);
  const PolicyRules next(kNoFile);
  EXPECT_EQ(Ipv4Rules() + Ipv6Rules(), before);
}

TEST_F(PolicyRulesTest, AForeignRuleLikeItsOwnStays) {
  Output("ip rule add fwmark 100 lookup 100 priority 1500 protocol 4");
  const std::string before = Ipv4Rules();
  ASSERT_THAT(before, HasSubstr("fwmark 0x64"));
  EXPECT_TRUE(rules_->AddMark(100));
  EXPECT_TRUE(rules_->DeleteMark(100));
  EXPECT_EQ(Ipv4Rules(), before);
}

TEST_F(PolicyRulesTest, ARuleThatSomebodyRemovedCountsAsDeleted) {
  ASSERT_TRUE(rules_->AddMark(100));
  Output("ip rule del fwmark 100 lookup 100 priority 1500");
  EXPECT_TRUE(rules_->DeleteMark(100));
  EXPECT_TRUE(rules_->AddMark(100));
  EXPECT_THAT(Ipv4Rules(), HasSubstr("fwmark 0x64"));
}

TEST_F(PolicyRulesTest, WhatSomebodyRemovedIsPutBack) {
  ASSERT_TRUE(rules_->AddMark(100));
  ASSERT_TRUE(rules_->AddDestination(Destination("192.0.2.7")));
  ASSERT_TRUE(rules_->AddDestination(Destination("2001:db8::7")));
  Output("ip rule add fwmark 9 lookup 100 priority 1600");
  const std::string before = Ipv4Rules() + Ipv6Rules();
  Output("ip -4 rule flush protocol 175; ip -6 rule del fwmark 100 lookup 100");
  ASSERT_EQ(CountLines(Ipv4Rules() + Ipv6Rules(), "proto 175"), 1);
  testing::internal::CaptureStderr();
  rules_->Restore();
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              HasSubstr("3 routing rules that somebody else had removed are back."));
  EXPECT_EQ(Ipv4Rules() + Ipv6Rules(), before);
}

TEST_F(PolicyRulesTest, WithNothingMissingOneLookAtEachFamilyIsAll) {
  for (uint32_t table = 100; table < 150; ++table) ASSERT_TRUE(rules_->AddMark(table));
  const int before = KernelCalls();
  testing::internal::CaptureStderr();
  rules_->Restore();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(KernelCalls(), before + 2);
}

TEST_F(PolicyRulesTest, WhatCannotBePutBackIsTold) {
  EXPECT_EXIT(
      {
        PolicyRules rules(kNoFile);
        rules.AddMark(100);
        Output("ip -4 rule flush protocol 175");
        DropCapabilities();
        rules.Restore();
        ::_exit(0);
      },
      ::testing::ExitedWithCode(0), "Adding the routing rule of IPv4 mark 100: ");
}

TEST_F(PolicyRulesTest, ARefusalIsToldWithItsReason) {
  EXPECT_EXIT(
      {
        DropCapabilities();
        PolicyRules rules(kNoFile);
        ::_exit(rules.AddMark(100) ? 1 : 0);
      },
      ::testing::ExitedWithCode(0), "routing rule of IPv4 mark 100: .*");
}

TEST_F(PolicyRulesTest, ARefusedRuleIsTriedAgain) {
  EXPECT_TRUE(InChild([] {
    DropCapabilities();
    PolicyRules rules(kNoFile);
    const bool first = rules.AddMark(100);
    const int before = KernelCalls();
    return !first && !rules.AddMark(100) && KernelCalls() > before;
  }));
}

}  // namespace
}  // namespace host::test
