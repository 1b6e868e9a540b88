// The layout of the destinations' rules, held against what a packet would meet.
#include "rules/destination_layout.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <functional>
#include <random>
#include <vector>

namespace host::test {
namespace {

DestinationRule Destination(uint32_t address, uint16_t port = 162, uint32_t table = 100) {
  return {boost::asio::ip::address_v4(address), port, table};
}

struct Way {
  uint32_t table = 0;  ///< 0: none of the rules was for this packet.
  size_t rules = 0;    ///< That it was compared with.
};

bool HasPrefix(const RoutingRule& rule, uint32_t address) {
  const auto& d = rule.destination;
  const uint32_t prefix = uint32_t{d[0]} << 24 | uint32_t{d[1]} << 16 | uint32_t{d[2]} << 8 | d[3];
  return rule.destination_bits == 0 || (prefix ^ address) >> (32 - rule.destination_bits) == 0;
}

bool Matches(const RoutingRule& rule, uint32_t address, uint16_t port) {
  const bool in_ports = rule.last_port == 0 || (port >= rule.first_port && port <= rule.last_port);
  return (HasPrefix(rule, address) && in_ports) != rule.inverted;
}

/// What the kernel does with a UDP packet. The set has the rules by priority, and of one priority
/// the destinations in front, then the gotos with the end first: that is put behind.
std::vector<RoutingRule> InOrder(const std::set<RoutingRule>& rules) {
  std::vector<RoutingRule> order(rules.begin(), rules.end());
  std::stable_sort(order.begin(), order.end(), [](const RoutingRule& a, const RoutingRule& b) {
    const auto is_end = [](const RoutingRule& r) {
      return r.action == RuleAction::kGoto && r.destination_bits == 0;
    };
    return std::make_pair(a.priority, is_end(a)) < std::make_pair(b.priority, is_end(b));
  });
  return order;
}

Way Walk(const std::vector<RoutingRule>& order, uint32_t address, uint16_t port) {
  Way way;
  uint32_t from = 0;
  for (const RoutingRule& rule : order) {
    if (rule.priority < from) continue;
    ++way.rules;
    if (!Matches(rule, address, port)) continue;
    if (rule.action == RuleAction::kGoto) {
      EXPECT_GT(rule.target, rule.priority) << "the kernel refuses that";
      from = rule.target;
    }
    if (rule.action == RuleAction::kLookup) {
      way.table = rule.target;
      return way;
    }
  }
  return way;
}

void Apply(const RuleChanges& changes, std::set<RoutingRule>& kernel) {
  for (const RoutingRule& rule : changes.removed) EXPECT_EQ(kernel.erase(rule), 1U);
  for (const RoutingRule& rule : changes.added) EXPECT_TRUE(kernel.insert(rule).second);
}

std::set<DestinationRule> Many(size_t count, const std::function<DestinationRule(size_t)>& make) {
  std::set<DestinationRule> many;
  for (size_t i = 0; many.size() < count; ++i) many.insert(make(i));
  return many;
}

size_t LongestWay(const DestinationLayout& layout, const std::set<DestinationRule>& all) {
  size_t longest = 0;
  const std::vector<RoutingRule> order = InOrder(layout.Rules());
  for (const DestinationRule& one : all) {
    const Way way = Walk(order, one.address.to_v4().to_uint(), one.port);
    EXPECT_EQ(way.table, one.table);
    longest = std::max(longest, way.rules);
  }
  return longest;
}

TEST(DestinationLayout, AFewAreAPlainList) {
  DestinationLayout layout;
  for (uint32_t i = 0; i < DestinationLayout::kPlain; ++i) layout.Insert(Destination(i + 1));
  EXPECT_EQ(layout.Rules().size(), DestinationLayout::kPlain);
  for (const RoutingRule& rule : layout.Rules()) {
    EXPECT_EQ(rule.priority, kDestinationPriority);
    EXPECT_EQ(rule.action, RuleAction::kLookup);
  }
}

TEST(DestinationLayout, WhatGoesElsewherePassesTwoRules) {
  DestinationLayout layout;
  layout.Assign(Many(4900, [](size_t i) { return Destination(0x0a000001 + 256 * uint32_t(i)); }));
  EXPECT_EQ(Walk(InOrder(layout.Rules()), 0x0a000001, 53).rules, 2U);
}

/// However they lie: a rule costs a packet eight nanoseconds, so the last one takes half a
/// microsecond.
TEST(DestinationLayout, TheWayToEachIsShort) {
  std::mt19937 random(1);
  const std::vector<std::function<DestinationRule(size_t)>> kinds = {
      [](size_t i) { return Destination(0x0a000001 + 256 * uint32_t(i)); },
      [](size_t i) { return Destination(0x0a000000 + uint32_t(i)); },
      [](size_t i) { return Destination(0x0a000001, uint16_t(i + 1)); },
      [](size_t i) { return Destination(0x0a000001 + uint32_t(i % 70), uint16_t(162 + i)); },
      [&](size_t) { return Destination(uint32_t(random())); },
      [&](size_t) { return Destination(0x0a000000 + uint32_t(random() >> (8 + random() % 23))); },
  };
  for (const size_t count : {17, 100, 1000, 4900}) {
    for (size_t kind = 0; kind < kinds.size(); ++kind) {
      DestinationLayout layout;
      const std::set<DestinationRule> all = Many(count, kinds[kind]);
      layout.Assign(all);
      const size_t longest = LongestWay(layout, all);
      EXPECT_LE(longest, 70U) << count << " of kind " << kind;
    }
  }
}

/// Random additions and deletions: each packet finds its table, each other one none, the changes
/// make the one list of the other, and are few.
TEST(DestinationLayout, FollowsAnyChange) {
  std::mt19937 random(2);
  for (const uint32_t spread : {0x3fU, 0xfffU, 0xffffffffU}) {
    DestinationLayout layout;
    std::set<DestinationRule> all;
    std::set<RoutingRule> kernel;
    size_t changes = 0;
    size_t steps = 0;
    for (const size_t aim : {400, 100, 450, 0, 40, 5}) {
      while (all.size() != aim) {
        DestinationRule one =
            Destination(uint32_t(random()) & spread, uint16_t(1 + random() % 300));
        const bool add = all.size() < aim ? random() % 10 > 0 : random() % 10 == 0;
        if (!add && !all.empty()) one = *std::next(all.begin(), long(random() % all.size()));
        const RuleChanges change = add ? layout.Insert(one) : layout.Erase(one);
        if (add ? all.insert(one).second : all.erase(one) > 0) ++steps;
        changes += change.added.size() + change.removed.size();
        Apply(change, kernel);
        ASSERT_EQ(Walk(InOrder(kernel), one.address.to_v4().to_uint(), one.port).table,
                  add ? 100U : 0U);
      }
      LongestWay(layout, all);
      EXPECT_LE(Walk(InOrder(kernel), 0xdeadbeef, 999).rules, std::max<size_t>(2, all.size()));
    }
    EXPECT_TRUE(kernel.empty() || kernel.size() == 5U);
    EXPECT_LE(changes, steps * 6) << "on the average";
  }
}

TEST(DestinationLayout, WhatIsThereAndWhatIsNotChangeNothing) {
  DestinationLayout layout;
  layout.Insert(Destination(1));
  EXPECT_TRUE(layout.Insert(Destination(1)).added.empty());
  EXPECT_TRUE(layout.Erase(Destination(2)).removed.empty());
}

}  // namespace
}  // namespace host::test
