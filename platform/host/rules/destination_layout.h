// In which rules of the kernel the destinations stand, so that a packet passes few of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "rules/routing_rule.h"

namespace host {

/// What has to be changed in the kernel.
struct RuleChanges {
  std::set<RoutingRule> added;
  std::set<RoutingRule> removed;
};

/// The kernel compares a packet with one rule after another. So there is a guard in front that
/// leads what goes to no wanted port behind all of them, and the destinations stand in a tree of
/// blocks, a priority each, that gotos by prefix lead to. A few stand in a plain list instead.
///
///     1399: not ipproto udp dport LOW-HIGH goto 1499     the guard
///     1400: to P/19 goto 1401 ... goto 1499              the root: blocks, single destinations
///     1401: to A ipproto udp dport 162 lookup T ... goto 1499
///     1499: nop
///
/// Thousands have guard and root at 1199 and 1200, which leaves room for more blocks.
///
/// Pure: it calls no kernel. A goto that is lost costs time and never a packet, because what it led
/// over is exact; the last rule of a block has to stand behind the block's others, though.
///
/// For IPv4; there is no other one in a VRF.
class DestinationLayout {
 public:
  /// Up to this many are a plain list: they cost a packet no more than guard and blocks do.
  static constexpr size_t kPlain = 16;

  /// Adds one that is not there, or removes one that is; returns what the kernel has to have
  /// more and less then. Few changes however many there are, but for the rare moment
  /// when no priority is left for another block, which has all planned anew.
  RuleChanges Insert(const DestinationRule& destination);
  RuleChanges Erase(const DestinationRule& destination);

  /// Replaces all, and plans anew. Linear, with a logarithm.
  RuleChanges Assign(const std::set<DestinationRule>& destinations);

  /// All rules that the kernel has to have: one of each destination, the guard, gotos and ends.
  const std::set<RoutingRule>& Rules() const { return rules_; }

  /// The rule of a destination that is there.
  RoutingRule RuleOf(const DestinationRule& destination) const;

 private:
  /// An address and a port behind it, 48 bits.
  using Key = uint64_t;

  /// The keys that begin with the first `bits` bits of `key`.
  struct Prefix {
    Key key = 0;
    int bits = 0;
  };

  struct Block {
    Prefix prefix;
    std::set<DestinationRule> destinations;
    std::vector<uint32_t> below;  ///< Priorities of the blocks that gotos lead to.
  };

  /// Neighbours of a sorted list.
  using List = std::vector<DestinationRule>;
  struct Part {
    Prefix prefix;
    List::const_iterator first;
    List::const_iterator last;

    size_t Size() const { return static_cast<size_t>(last - first); }
  };

  static Key KeyOf(const DestinationRule& destination);
  static bool Contains(const Prefix& prefix, Key key);
  static RoutingRule GotoRule(uint32_t priority, const Prefix& prefix, uint32_t target);

  size_t Size() const { return all_.size(); }
  uint32_t BlockOf(Key key) const;
  void Put(const RoutingRule& rule);
  void Drop(const RoutingRule& rule);
  RuleChanges TakeChanges();
  void Plan();
  void PlanList();
  bool PlanBlocks();
  void PutBlocks();
  void DropAll();
  void SetGuard();
  bool Split(uint32_t priority);
  bool IsInTheWay(const Block& block, const Part& part) const;
  std::vector<Part> Parts(const Block& block, const List& list) const;
  static std::vector<Part> Halves(const Part& part);
  bool MoveBelow(uint32_t priority, const Part& part);
  uint32_t FreePriority(uint32_t above) const;

  std::set<DestinationRule> all_;
  std::set<RoutingRule> rules_;
  RuleChanges changes_;
  std::map<uint32_t, Block> blocks_;  ///< By priority; none while the list is plain.
  uint32_t root_ = kDestinationPriority;
  size_t most_ = 0;        ///< Destinations in a block before it is split.
  bool planning_ = false;  ///< Rules are put when the plan is made.
  RoutingRule guard_;      ///< As it is in `rules_`.
  std::multiset<uint16_t> ports_;
};

}  // namespace host
