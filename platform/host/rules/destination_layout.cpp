#include "rules/destination_layout.h"

#include <sys/socket.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace host {

namespace {

constexpr int kKeyBits = 48;
constexpr int kPortBits = 16;
constexpr int kAddressBits = kKeyBits - kPortBits;

/// Below this the plain list is made again; the distance to kPlain keeps it from coming and going.
constexpr size_t kPlainAgain = DestinationLayout::kPlain / 2;

/// A block with as many gotos and as many destinations costs a packet twice as much as either.
constexpr size_t kMostBelow = 16;
constexpr size_t kFewestInBlock = 32;

/// So few are not worth a priority and a goto.
constexpr size_t kTooFew = 4;

/// Priorities that a plan leaves for blocks that are split later.
constexpr size_t kSpare = 24;

/// When blocks get larger than this, more priorities are taken.
constexpr size_t kMostInBlock = 50;

}  // namespace

DestinationLayout::Key DestinationLayout::KeyOf(const DestinationRule& destination) {
  return Key{destination.address.to_v4().to_uint()} << kPortBits | destination.port;
}

bool DestinationLayout::Contains(const Prefix& prefix, Key key) {
  return (prefix.key ^ key) >> (kKeyBits - prefix.bits) == 0;
}

/// Behind the whole address come the first bits of the port, that is a range of ports.
RoutingRule DestinationLayout::GotoRule(uint32_t priority, const Prefix& prefix, uint32_t target) {
  const boost::asio::ip::address_v4 address(static_cast<uint32_t>(prefix.key >> kPortBits));
  RoutingRule rule = EndRule(priority);
  rule.target = target;
  const auto bytes = address.to_bytes();
  std::copy(bytes.begin(), bytes.end(), rule.destination.begin());
  rule.destination_bits = static_cast<uint8_t>(std::min(prefix.bits, kAddressBits));
  rule.first_port = rule.last_port = 0;
  if (prefix.bits >= kAddressBits) {
    const auto first = static_cast<uint16_t>(prefix.key);
    const auto last = static_cast<uint16_t>(first | ((1U << (kKeyBits - prefix.bits)) - 1));
    rule.first_port = std::clamp(first, kFirstRulePort, kLastRulePort);
    rule.last_port = std::clamp(last, kFirstRulePort, kLastRulePort);
  }
  return rule;
}

/// What is put back is no change; nor is what is dropped again.
void DestinationLayout::Put(const RoutingRule& rule) {
  if (planning_) return;
  rules_.insert(rule);
  if (changes_.removed.erase(rule) == 0) changes_.added.insert(rule);
}

void DestinationLayout::Drop(const RoutingRule& rule) {
  if (planning_) return;
  rules_.erase(rule);
  if (changes_.added.erase(rule) == 0) changes_.removed.insert(rule);
}

RuleChanges DestinationLayout::TakeChanges() { return std::exchange(changes_, {}); }

uint32_t DestinationLayout::BlockOf(Key key) const {
  uint32_t priority = root_;
  for (auto block = blocks_.find(priority); block != blocks_.end();) {
    const std::vector<uint32_t>& below = block->second.below;
    const auto next = std::find_if(below.begin(), below.end(), [&](uint32_t candidate) {
      return Contains(blocks_.at(candidate).prefix, key);
    });
    if (next == below.end()) break;
    priority = *next;
    block = blocks_.find(priority);
  }
  return priority;
}

RoutingRule DestinationLayout::RuleOf(const DestinationRule& destination) const {
  return LookupRule(destination, BlockOf(KeyOf(destination)));
}

RuleChanges DestinationLayout::Insert(const DestinationRule& destination) {
  if (!all_.insert(destination).second) return {};
  ports_.insert(destination.port);
  if (blocks_.empty() && Size() > kPlain) {
    Plan();
    return TakeChanges();
  }
  const uint32_t priority = BlockOf(KeyOf(destination));
  Put(LookupRule(destination, priority));
  if (!blocks_.empty()) {
    SetGuard();
    Block& block = blocks_.at(priority);
    block.destinations.insert(destination);
    const bool is_full = block.destinations.size() > most_ && !Split(priority);
    if (is_full && blocks_.at(priority).destinations.size() > 2 * most_) Plan();
  }
  return TakeChanges();
}

RuleChanges DestinationLayout::Erase(const DestinationRule& destination) {
  if (all_.erase(destination) == 0) return {};
  ports_.erase(ports_.find(destination.port));
  const uint32_t priority = BlockOf(KeyOf(destination));
  Drop(LookupRule(destination, priority));
  if (blocks_.empty()) return TakeChanges();
  blocks_.at(priority).destinations.erase(destination);
  if (Size() < kPlainAgain) {
    Plan();
  } else {
    SetGuard();
  }
  return TakeChanges();
}

RuleChanges DestinationLayout::Assign(const std::set<DestinationRule>& destinations) {
  all_ = destinations;
  ports_.clear();
  for (const DestinationRule& destination : all_) ports_.insert(destination.port);
  Plan();
  return TakeChanges();
}

void DestinationLayout::DropAll() {
  const std::set<RoutingRule> former = rules_;
  for (const RoutingRule& rule : former) Drop(rule);
  guard_ = {};
}

/// Blocks are as small as the priorities allow.
void DestinationLayout::Plan() {
  if (Size() <= kPlain) return PlanList();
  planning_ = true;
  root_ = kDestinationPriority;
  most_ = kFewestInBlock;
  while (!PlanBlocks() && most_ < Size()) {
    most_ += most_ / 2;
    if (root_ == kDestinationPriority && most_ > kMostInBlock) {
      root_ = kManyDestinationsPriority;
      most_ = kFewestInBlock;
    }
  }
  planning_ = false;
  PutBlocks();
}

void DestinationLayout::PlanList() {
  DropAll();
  blocks_.clear();
  root_ = kDestinationPriority;
  for (const DestinationRule& one : all_) Put(LookupRule(one, root_));
}

/// False when that took too many priorities.
bool DestinationLayout::PlanBlocks() {
  blocks_.clear();
  blocks_[root_].destinations = all_;
  return (Size() <= most_ || Split(root_)) && blocks_.size() + kSpare <= kLastBlockPriority - root_;
}

void DestinationLayout::PutBlocks() {
  DropAll();
  for (const auto& [priority, block] : blocks_) {
    for (const DestinationRule& one : block.destinations) Put(LookupRule(one, priority));
    for (const uint32_t below : block.below) {
      Put(GotoRule(priority, blocks_.at(below).prefix, below));
    }
    Put(EndRule(priority));
  }
  RoutingRule behind;
  behind.family = AF_INET;
  behind.priority = kBehindPriority;
  behind.action = RuleAction::kNothing;
  Put(behind);
  SetGuard();
}

void DestinationLayout::SetGuard() {
  RoutingRule guard = EndRule(root_ - 1);
  guard.inverted = true;
  guard.first_port = std::clamp(*ports_.begin(), kFirstRulePort, kLastRulePort);
  guard.last_port = std::clamp(*ports_.rbegin(), kFirstRulePort, kLastRulePort);
  if (guard_.priority != 0) Drop(guard_);
  Put(guard);
  guard_ = guard;
}

/// A goto must not lead to a block what another goto beside it leads elsewhere.
bool DestinationLayout::IsInTheWay(const Block& block, const Part& part) const {
  return std::any_of(block.below.begin(), block.below.end(), [&](uint32_t below) {
    return Contains(part.prefix, blocks_.at(below).prefix.key);
  });
}

/// One half when the other is empty.
std::vector<DestinationLayout::Part> DestinationLayout::Halves(const Part& part) {
  Part lower = part;
  ++lower.prefix.bits;
  Part upper = lower;
  upper.prefix.key |= Key{1} << (kKeyBits - upper.prefix.bits);
  lower.last = upper.first = std::partition_point(
      part.first, part.last,
      [&](const DestinationRule& one) { return KeyOf(one) < upper.prefix.key; });
  std::vector<Part> halves;
  for (const Part& half : {lower, upper}) {
    if (half.Size() > 0) halves.push_back(half);
  }
  return halves;
}

/// The destinations of a block by the halves of its prefix, the halves of those and so on, until
/// they are small or many.
std::vector<DestinationLayout::Part> DestinationLayout::Parts(const Block& block,
                                                              const List& list) const {
  const auto weight = [&](const Part& part) {
    if (part.prefix.bits == kKeyBits || part.Size() <= kTooFew) return size_t{0};
    const bool has_to = part.prefix.bits == block.prefix.bits || IsInTheWay(block, part);
    return has_to ? Size() + 1 : part.Size();
  };
  std::multimap<size_t, Part> parts;
  const Part whole = {block.prefix, list.begin(), list.end()};
  parts.emplace(weight(whole), whole);
  for (;;) {
    const auto heaviest = std::prev(parts.end());
    const bool has_to = heaviest->first > Size();
    if (heaviest->first <= most_ || (!has_to && parts.size() >= kMostBelow)) break;
    const Part part = heaviest->second;
    parts.erase(heaviest);
    for (const Part& half : Halves(part)) parts.emplace(weight(half), half);
  }
  std::vector<Part> result;
  for (const auto& part : parts) result.push_back(part.second);
  return result;
}

/// Moves what stands in a block to new ones below. False when something had to stay that is too
/// much.
bool DestinationLayout::Split(uint32_t priority) {
  const std::set<DestinationRule>& here = blocks_.at(priority).destinations;
  const List list(here.begin(), here.end());
  const int bits = blocks_.at(priority).prefix.bits;
  bool done = true;
  for (const Part& part : Parts(blocks_.at(priority), list)) {
    if (part.Size() <= kTooFew) continue;
    done = part.prefix.bits > bits && MoveBelow(priority, part) && done;
    if (planning_ && !done) return false;
  }
  return done && blocks_.at(priority).destinations.size() <= most_;
}

/// False when no priority was left for it or for one below it.
bool DestinationLayout::MoveBelow(uint32_t priority, const Part& part) {
  const uint32_t target = FreePriority(priority);
  if (target == 0) return false;
  for (auto one = part.first; one != part.last; ++one) {
    blocks_.at(priority).destinations.erase(*one);
    Drop(LookupRule(*one, priority));
    Put(LookupRule(*one, target));
  }
  Put(GotoRule(priority, part.prefix, target));
  Put(EndRule(target));
  blocks_.at(priority).below.push_back(target);
  blocks_[target] = {part.prefix, {part.first, part.last}, {}};
  return part.Size() <= most_ || Split(target);
}

/// 0 when there is none. A goto leads forward only.
uint32_t DestinationLayout::FreePriority(uint32_t above) const {
  for (uint32_t priority = above + 1; priority <= kLastBlockPriority; ++priority) {
    if (blocks_.count(priority) == 0) return priority;
  }
  return 0;
}

}  // namespace host
