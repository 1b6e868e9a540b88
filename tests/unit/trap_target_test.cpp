// The record of one trap target: its fields, comparison, text and place in a map.

#include "app/trap_target.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <type_traits>

namespace {

using ::testing::ElementsAre;
using ::testing::Key;

nettypes::IPv4Addr Address(const char* text) {
  in_addr address = {};
  inet_pton(AF_INET, text, &address);
  return nettypes::IPv4Addr(address);
}

TrapTarget Example() { return {"t1", Address("10.0.0.5"), 162, "v2user", "public", 0}; }

/// The example with one thing different.
TrapTarget Changed(const std::function<void(TrapTarget*)>& change) {
  TrapTarget target = Example();
  change(&target);
  return target;
}

/// Both operators, both ways round.
void ExpectEqual(const TrapTarget& a, const TrapTarget& b, bool equal) {
  EXPECT_EQ(equal, a == b);
  EXPECT_EQ(equal, b == a);
  EXPECT_EQ(!equal, a != b);
  EXPECT_EQ(!equal, b != a);
}

TEST(TrapTargetTest, HasItsSixFields) {
  const TrapTarget target("n", Address("10.0.0.5"), 65535, "s", "c", -7);
  EXPECT_EQ("n", target.name);
  EXPECT_EQ("10.0.0.5", target.ip.to_string());
  EXPECT_EQ(65535, target.port);
  EXPECT_EQ("s", target.sec_name);
  EXPECT_EQ("c", target.community);
  EXPECT_EQ(-7, target.reserved);
}

TEST(TrapTargetTest, IsAPlainValue) {
  EXPECT_TRUE(std::is_copy_constructible_v<TrapTarget>);
  EXPECT_TRUE(std::is_copy_assignable_v<TrapTarget>);
  EXPECT_FALSE(std::is_polymorphic_v<TrapTarget>);
  static_assert(std::is_same_v<decltype(TrapTarget::port), uint16_t>);
  static_assert(std::is_same_v<decltype(TrapTarget::reserved), int32_t>);
}

TEST(TrapTargetTest, IsEmptyByDefault) {
  const TrapTarget target;
  EXPECT_EQ("", target.name);
  EXPECT_EQ("0.0.0.0", target.ip.to_string());
  EXPECT_EQ(0, target.port);
  EXPECT_EQ("", target.sec_name);
  EXPECT_EQ("", target.community);
  EXPECT_EQ(0, target.reserved);
  EXPECT_EQ(0, kEmptyTrapTarget.reserved);
}

TEST(TrapTargetTest, EmptyTargetIsEqualWhateverProducedIt) {
  ExpectEqual(kEmptyTrapTarget, {}, true);
  ExpectEqual(kEmptyTrapTarget, {"", Address("0.0.0.0"), 0, "", "", 0}, true);
  ExpectEqual(kEmptyTrapTarget, {"", nettypes::IPv4Addr(), 0, "", "", 9}, true);
  ExpectEqual(kEmptyTrapTarget, Example(), false);
}

TEST(TrapTargetTest, CopyIsEqual) {
  const TrapTarget target = Example();
  const TrapTarget copy(target);
  ExpectEqual(target, copy, true);
}

TEST(TrapTargetTest, ReservedIsNotCompared) {
  ExpectEqual(Example(), Changed([](TrapTarget* target) { target->reserved = 1; }), true);
}

TEST(TrapTargetTest, EveryOtherFieldIsCompared) {
  const std::function<void(TrapTarget*)> changes[] = {
      [](TrapTarget* target) { target->name = "t2"; },
      [](TrapTarget* target) { target->name = "t11"; },
      [](TrapTarget* target) { target->name += '\0'; },
      [](TrapTarget* target) { target->ip = Address("10.0.0.6"); },
      [](TrapTarget* target) { target->ip = Address("11.0.0.5"); },
      [](TrapTarget* target) { target->port = 163; },
      [](TrapTarget* target) { target->port = 162 + 256; },
      [](TrapTarget* target) { target->sec_name = "v2usfr"; },
      [](TrapTarget* target) { target->sec_name.clear(); },
      [](TrapTarget* target) { target->community = "publik"; },
      [](TrapTarget* target) { target->community.clear(); },
  };
  for (const auto& change : changes) ExpectEqual(Example(), Changed(change), false);
}

TEST(TrapTargetTest, TextHasTheCommunityBeforeTheSecurityName) {
  EXPECT_EQ("Target t1, IP 10.0.0.5:162, community public, sec_name v2user", Example().ToString());
}

TEST(TrapTargetTest, HighestPortIsNotNegative) {
  EXPECT_EQ("Target t1, IP 10.0.0.5:65535, community public, sec_name v2user",
            Changed([](TrapTarget* target) { target->port = 65535; }).ToString());
}

TEST(TrapTargetTest, TextOfTheEmptyTarget) {
  EXPECT_EQ("Target , IP 0.0.0.0:0, community , sec_name ", kEmptyTrapTarget.ToString());
}

TEST(TrapTargetTest, MapIsInTheOrderOfTheBytesShorterFirst) {
  TargetMap targets;
  for (const char* name : {"\xff", "b", "ab", "a", "Z", ""}) targets[name] = Example();
  EXPECT_THAT(targets, ElementsAre(Key(""), Key("Z"), Key("a"), Key("ab"), Key("b"), Key("\xff")));
  CommunityMap communities;
  for (const char* index : {"\xff", "ab", "a", "Z"}) communities[index] = "user";
  EXPECT_THAT(communities, ElementsAre(Key("Z"), Key("a"), Key("ab"), Key("\xff")));
}

TEST(TrapTargetTest, LaterTargetOfANameReplacesEveryField) {
  TargetMap targets;
  targets["t1"] = Example();
  targets["t1"] = {"t1", Address("10.0.0.9"), 9, "s", "c", 3};
  ASSERT_EQ(1U, targets.size());
  EXPECT_EQ("Target t1, IP 10.0.0.9:9, community c, sec_name s", targets["t1"].ToString());
  EXPECT_EQ(3, targets["t1"].reserved);
}

TEST(DyingGaspEntryTest, BeginsAsACopyOfItsTargetWithoutMessage) {
  const TrapTarget target = Changed([](TrapTarget* example) { example->reserved = -2; });
  const DyingGaspEntry entry(target);
  ExpectEqual(target, entry, true);
  EXPECT_EQ(-2, entry.reserved);
  EXPECT_TRUE(entry.message.empty());
  EXPECT_EQ(0U, entry.uptime_offset);
}

}  // namespace
