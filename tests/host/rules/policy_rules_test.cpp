#include "rules/policy_rules.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cerrno>
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
    if (IsSkipped()) return;
    rules_ = std::make_unique<PolicyRules>(kNoFile);
    rules_->Settle();
  }

  void TearDown() override { SetAnswerHook(nullptr); }

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
  PolicyRules next(kNoFile);
  next.Settle();
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
      ::testing::ExitedWithCode(0), "Adding the routing rule of IPv4 mark 100 lookup 100: ");
}

TEST_F(PolicyRulesTest, ARefusalIsToldWithItsReason) {
  EXPECT_EXIT(
      {
        DropCapabilities();
        PolicyRules rules(kNoFile);
        ::_exit(rules.AddMark(100) ? 1 : 0);
      },
      ::testing::ExitedWithCode(0), "routing rule of IPv4 mark 100 lookup 100: .*");
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

/// Rules that a run before has left, by the list of `ip -batch`.
void LeaveRules(const std::string& lines) { Output("printf '" + lines + "' | ip -batch -"); }

TEST_F(PolicyRulesTest, ASpareRuleDoesNotHideAMissingOne) {
  ASSERT_TRUE(rules_->AddMark(100));
  ASSERT_TRUE(rules_->AddDestination(Destination("192.0.2.7")));
  const std::string before = Ipv4Rules();
  Output("ip rule del fwmark 100 priority 1500");
  Output("ip rule add fwmark 77 lookup 77 priority 1500 protocol 175");
  rules_->Restore();
  EXPECT_EQ(Ipv4Rules(), before);
}

TEST_F(PolicyRulesTest, ARuleLikeAWantedOneWithMoreToItIsReplaced) {
  ASSERT_TRUE(rules_->AddDestination(Destination("192.0.2.7")));
  const std::string before = Ipv4Rules();
  for (const char* other : {"not to 192.0.2.7 ipproto udp dport 162", "to 192.0.2.7 iif lo",
                            "to 192.0.2.7 ipproto tcp dport 162", "to 192.0.2.7 dport 162",
                            "to 192.0.2.7 ipproto udp dport 162 suppress_prefixlength 3",
                            "fwmark 3/7", "from 192.0.2.1", "tos 8", "uidrange 1-5"}) {
    Output("ip rule del to 192.0.2.7 priority 1400");
    Output("ip rule add " + std::string(other) + " lookup 300 priority 1400 protocol 175");
    ASSERT_NE(Ipv4Rules(), before) << other;
    rules_->Restore();
    EXPECT_EQ(Ipv4Rules(), before) << other;
  }
}

TEST_F(PolicyRulesTest, WhatAnEarlierRunLeftIsTakenOver) {
  LeaveRules(
      "rule add to 192.0.2.7 ipproto udp dport 162 lookup 300 priority 1400 protocol 175\\n"
      "rule add to 192.0.2.8 ipproto udp dport 162 lookup 300 priority 1400 protocol 175\\n");
  ASSERT_EQ(CountLines(Ipv4Rules(), "proto 175"), 2);
  PolicyRules next(kNoFile);
  EXPECT_TRUE(next.AddDestination(Destination("192.0.2.8")));
  const int before = KernelCalls();
  next.Settle();
  EXPECT_EQ(CountLines(Ipv4Rules(), "proto 175"), 1);
  EXPECT_EQ(CountLines(Ipv4Rules(), "192.0.2.8"), 1);
  EXPECT_EQ(KernelCalls(), before + 5) << "two looks at each family, one deletion";
}

TEST_F(PolicyRulesTest, ManyDestinationsHaveAGuardAndBlocks) {
  for (int i = 0; i < 1000; ++i) {
    const std::string address = "10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250);
    ASSERT_TRUE(rules_->AddDestination(Destination(address.c_str())));
  }
  EXPECT_EQ(CountLines(Ipv4Rules(), "1399:\tnot from all ipproto udp dport 162 goto 1499"), 1);
  EXPECT_EQ(CountLines(Ipv4Rules(), "1499:\tfrom all nop"), 1);
  EXPECT_EQ(CountLines(Ipv4Rules(), "unresolved"), 0);
  EXPECT_EQ(CountLines(Ipv4Rules(), "lookup 300"), 1000);
  EXPECT_EQ(CountLines(Ipv6Rules(), "proto 175"), 0);
  const int before = KernelCalls();
  ASSERT_TRUE(rules_->AddDestination(Destination("10.0.9.9")));
  EXPECT_LE(KernelCalls(), before + 3);
  const std::string whole = Ipv4Rules();
  Output("ip -4 rule flush protocol 175");
  rules_->Restore();
  EXPECT_EQ(CountLines(Ipv4Rules(), "proto 175"), CountLines(whole, "proto 175"));
  rules_.reset();
  EXPECT_EQ(CountLines(Ipv4Rules(), "proto 175"), 0);
}

/// However the list has come about, the kernel finds for each destination its table, and for what
/// is none, none.
TEST_F(PolicyRulesTest, TheKernelFindsEachOfManyDestinations) {
  Output(
      "ip link add left type veth peer name right; ip link set left up; ip link set right up;"
      " ip route add default dev left table 300");
  const auto address = [](int i) {
    return "10." + std::to_string(i % 3) + "." + std::to_string(i % 251) + "." + std::to_string(i);
  };
  for (int i = 0; i < 256; ++i)
    ASSERT_TRUE(rules_->AddDestination(Destination(address(i).c_str())));
  for (int i = 0; i < 256; i += 3) rules_->DeleteDestination(Destination(address(i).c_str()));
  for (int i = 0; i < 256; i += 6) rules_->AddDestination(Destination(address(i).c_str()));
  for (int i = 0; i < 256; ++i) {
    const std::string route =
        Output("ip route get " + address(i) + " ipproto udp dport 162 2>&1 | head -1");
    const bool wanted = i % 3 != 0 || i % 6 == 0;
    EXPECT_EQ(route.find("table 300") != std::string::npos, wanted) << address(i) << ": " << route;
  }
}

TEST_F(PolicyRulesTest, ARefusalIsToldOnceAndWhenItHeals) {
  SetAnswerHook([](char*, size_t, ssize_t) {
    errno = ENOBUFS;
    return ssize_t{-1};
  });
  std::vector<std::string> outcomes;
  rules_->SetOutcomeObserver([&](const RuleOutcome& outcome) {
    outcomes.push_back(outcome.subject + ": " + outcome.reason);
  });
  testing::internal::CaptureStderr();
  EXPECT_FALSE(rules_->AddDestination(Destination("192.0.2.7")));
  EXPECT_FALSE(rules_->AddDestination(Destination("192.0.2.7")));
  EXPECT_FALSE(rules_->Retry());
  EXPECT_THAT(rules_->WhyNotDestination(Destination("192.0.2.7")), Not(""));
  EXPECT_FALSE(rules_->HasDestination(Destination("192.0.2.7")));
  SetAnswerHook(nullptr);
  EXPECT_TRUE(rules_->Retry());
  EXPECT_TRUE(rules_->Retry());
  const std::string told = testing::internal::GetCapturedStderr();
  EXPECT_EQ(CountLines(told, "Adding the routing rule of IPv4 to 192.0.2.7"), 1) << told;
  EXPECT_EQ(CountLines(told, "lookup 300 is there now."), 1) << told;
  ASSERT_EQ(outcomes.size(), 2U);
  EXPECT_THAT(outcomes[0], testing::HasSubstr("192.0.2.7"));
  EXPECT_THAT(outcomes[0], Not(testing::EndsWith(": ")));
  EXPECT_THAT(outcomes[1], testing::EndsWith("lookup 300: "));
  EXPECT_EQ(CountLines(Ipv4Rules(), "192.0.2.7"), 1);
  EXPECT_EQ(rules_->WhyNotDestination(Destination("192.0.2.7")), "");
}

TEST_F(PolicyRulesTest, ARetryDoesNotBringBackWhatIsNotWantedAnyMore) {
  SetAnswerHook([](char*, size_t, ssize_t) {
    errno = ENOBUFS;
    return ssize_t{-1};
  });
  EXPECT_FALSE(rules_->AddDestination(Destination("192.0.2.7")));
  EXPECT_TRUE(rules_->HasRefused());
  rules_->DeleteDestination(Destination("192.0.2.7"));
  SetAnswerHook(nullptr);
  rules_->Retry();
  rules_->Restore();
  EXPECT_EQ(CountLines(Ipv4Rules(), "192.0.2.7"), 0);
  EXPECT_FALSE(rules_->HasRefused());
}

TEST_F(PolicyRulesTest, ARefusedDeletionIsTriedAgain) {
  ASSERT_TRUE(rules_->AddDestination(Destination("192.0.2.7")));
  int answers = 0;
  SetAnswerHook([&](char*, size_t, ssize_t) {
    ++answers;
    errno = ENOBUFS;
    return ssize_t{-1};
  });
  EXPECT_FALSE(rules_->DeleteDestination(Destination("192.0.2.7")));
  EXPECT_TRUE(rules_->HasRefused());
  SetAnswerHook(nullptr);
  EXPECT_TRUE(rules_->Retry());
  EXPECT_EQ(CountLines(Ipv4Rules(), "proto 175"), 0);
  EXPECT_EQ(answers, 2) << "one, and once more by a new socket";
}

/// Every answer lost once, in turn: all is done and believed all the same.
TEST_F(PolicyRulesTest, OneLostAnswerCostsNothing) {
  const std::string before = Ipv4Rules() + Ipv6Rules();
  bool was_lost = true;
  for (int lost = 0; was_lost; ++lost) {
    int answer = 0;
    was_lost = false;
    SetAnswerHook([&](char*, size_t, ssize_t size) {
      if (answer++ != lost) return size;
      was_lost = true;
      errno = ENOBUFS;
      return ssize_t{-1};
    });
    PolicyRules rules(kNoFile);
    rules.Settle();
    EXPECT_TRUE(rules.AddMark(100)) << lost;
    EXPECT_TRUE(rules.AddDestination(Destination("192.0.2.7"))) << lost;
    EXPECT_TRUE(rules.AddMark(200)) << lost;
    EXPECT_EQ(CountLines(Ipv4Rules() + Ipv6Rules(), "proto 175"), 5) << lost;
    EXPECT_TRUE(rules.DeleteMark(100)) << lost;
    EXPECT_TRUE(rules.DeleteDestination(Destination("192.0.2.7"))) << lost;
    rules.Restore();
    EXPECT_EQ(CountLines(Ipv4Rules() + Ipv6Rules(), "proto 175"), 2) << lost;
    EXPECT_FALSE(rules.HasRefused()) << lost;
  }
  SetAnswerHook(nullptr);
  EXPECT_EQ(Ipv4Rules() + Ipv6Rules(), before);
}

}  // namespace
}  // namespace host::test
