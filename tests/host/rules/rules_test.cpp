#include "rules/rules.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <optional>
#include <utility>
#include <vector>

#include "network.h"

namespace host::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

class RulesTest : public NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    if (IsSkipped()) return;
    rules_.emplace();
    rules_->SetMarkObserver(
        [this](uint16_t port, uint32_t mark) { told_.emplace_back(port, mark); });
  }
  void TearDown() override { SetAnswerHook(nullptr); }

  static int MarkRules() { return CountLines(Output("ip rule show"), "fwmark"); }

  std::vector<std::pair<uint16_t, uint32_t>> told_;
  std::optional<Rules> rules_;
};

TEST_F(RulesTest, ARedirectBringsItsMark) {
  Rules& rules = *rules_;
  ASSERT_TRUE(rules.AddRedirect("eth1", 161, 60600, 100));
  EXPECT_THAT(Nft("list ruleset"), HasSubstr("\"eth1\" . 161 : 60600"));
  EXPECT_THAT(Output("ip rule show"), HasSubstr("fwmark 0x64 lookup 100"));
  EXPECT_TRUE(rules.DeleteRedirect("eth1", 161, 60600));
  EXPECT_EQ(MarkRules(), 0);
  EXPECT_THAT(told_, ElementsAre(Pair(60600, 100), Pair(60600, 0)));
}

TEST_F(RulesTest, WhatIsThereCostsNoCallAndIsNotTold) {
  Rules& rules = *rules_;
  ASSERT_TRUE(rules.AddRedirect("eth1", 161, 60600, 100));
  told_.clear();
  const int before = KernelCalls();
  EXPECT_TRUE(rules.AddRedirect("eth1", 161, 60600, 100));
  EXPECT_TRUE(rules.DeleteRedirect("eth1", 161, 60601));
  EXPECT_TRUE(rules.DeleteRedirect("eth2", 161, 60600));
  EXPECT_EQ(KernelCalls(), before);
  EXPECT_THAT(told_, IsEmpty());
}

TEST_F(RulesTest, InterfacesOfAVrfShareItsRule) {
  Rules& rules = *rules_;
  ASSERT_TRUE(rules.AddRedirect("eth1", 161, 60600, 100));
  ASSERT_TRUE(rules.AddRedirect("eth2", 161, 60601, 100));
  ASSERT_TRUE(rules.AddRedirect("eth3", 161, 60602, 200));
  EXPECT_EQ(MarkRules(), 2);
  ASSERT_TRUE(rules.DeleteRedirect("eth1", 161, 60600));
  EXPECT_EQ(MarkRules(), 2);
  ASSERT_TRUE(rules.DeleteRedirect("eth2", 161, 60601));
  EXPECT_EQ(MarkRules(), 1);
}

TEST_F(RulesTest, AnInterfaceMovesToAnotherVrf) {
  Rules& rules = *rules_;
  ASSERT_TRUE(rules.AddRedirect("eth1", 161, 60600, 100));
  ASSERT_TRUE(rules.AddRedirect("eth1", 161, 60600, 200));
  EXPECT_EQ(told_.back(), std::make_pair(uint16_t{60600}, uint32_t{200}));
  EXPECT_EQ(CountLines(Output("ip rule show"), "lookup 200"), 1);
  EXPECT_EQ(MarkRules(), 1);
  ASSERT_TRUE(rules.DeleteRedirect("eth1", 161, 60600));
  EXPECT_EQ(MarkRules(), 0);
}

TEST_F(RulesTest, TheNewestRedirectOfAPortHasTheMark) {
  Rules& rules = *rules_;
  ASSERT_TRUE(rules.AddRedirect("old1", 161, 60600, 100));
  ASSERT_TRUE(rules.AddRedirect("eth1", 161, 60600, 200));
  ASSERT_TRUE(rules.DeleteRedirect("eth1", 161, 60600));
  EXPECT_THAT(told_, ElementsAre(Pair(60600, 100), Pair(60600, 200), Pair(60600, 100)));
}

TEST_F(RulesTest, ALateObserverIsToldWhatThereIs) {
  Rules& rules = *rules_;
  ASSERT_TRUE(rules.AddRedirect("eth1", 161, 60600, 100));
  ASSERT_TRUE(rules.AddRedirect("eth2", 161, 60601, 200));
  told_.clear();
  rules.SetMarkObserver([this](uint16_t port, uint32_t mark) { told_.emplace_back(port, mark); });
  EXPECT_THAT(told_, ElementsAre(Pair(60600, 100), Pair(60601, 200)));
}

TEST_F(RulesTest, ARefusedRedirectLeavesNoRule) {
  EXPECT_FALSE(rules_->AddRedirect("eth*", 161, 60600, 100));
  EXPECT_EQ(MarkRules(), 0);
  EXPECT_THAT(told_, IsEmpty());
}

/// The mark's answers are lost, so the redirect is refused; both come with the retry.
TEST_F(RulesTest, ARefusedRedirectIsTriedAgainUntilItIsDoneOrNotWanted) {
  Rules& rules = *rules_;
  rules.Settle();
  int refusals = 0;
  rules.SetRefusalObserver([&] { ++refusals; });
  std::vector<std::string> outcomes;
  rules.SetOutcomeObserver([&](const RuleOutcome& outcome) {
    if (std::string(outcome.kind) != "redirect") return;
    outcomes.push_back(outcome.subject + (outcome.reason.empty() ? " healed" : " refused"));
  });
  const auto lose = [](char*, size_t, ssize_t) {
    errno = ENOBUFS;
    return ssize_t{-1};
  };
  SetAnswerHook(lose);
  EXPECT_FALSE(rules.AddRedirect("eth1", 161, 60600, 100));
  EXPECT_FALSE(rules.AddRedirect("eth2", 161, 60601, 200));
  EXPECT_THAT(rules.WhyNoRedirect("eth1", 161, 60600), testing::Not(""));
  EXPECT_EQ(refusals, 2);
  EXPECT_FALSE(rules.Retry());
  EXPECT_TRUE(rules.DeleteRedirect("eth2", 161, 60601)) << "nothing is there";
  EXPECT_EQ(rules.WhyNoRedirect("eth2", 161, 60601), "");
  SetAnswerHook(nullptr);
  EXPECT_TRUE(rules.Retry());
  EXPECT_TRUE(rules.HasRedirect("eth1", 161, 60600));
  EXPECT_FALSE(rules.HasRedirect("eth2", 161, 60601)) << "taken back meanwhile";
  EXPECT_EQ(rules.WhyNoRedirect("eth1", 161, 60600), "");
  EXPECT_THAT(outcomes,
              ElementsAre("eth1 port 161 to 60600 refused", "eth2 port 161 to 60601 refused",
                          "eth1 port 161 to 60600 healed"));
  EXPECT_THAT(Nft("list ruleset"), HasSubstr("\"eth1\" . 161 : 60600"));
  EXPECT_EQ(MarkRules(), 1);
}

TEST_F(RulesTest, TheEndRemovesAll) {
  ASSERT_TRUE(rules_->AddRedirect("eth1", 161, 60600, 100));
  rules_.reset();
  EXPECT_EQ(Nft("list ruleset"), "");
  EXPECT_EQ(MarkRules(), 0);
  rules_.emplace();
  EXPECT_TRUE(rules_->AddRedirect("eth1", 161, 60600, 100));
}

}  // namespace
}  // namespace host::test
