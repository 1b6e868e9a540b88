#include "rules/policy_rules.h"

#include <netlink/errno.h>
#include <sys/socket.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "runtime/log.h"

namespace host {

namespace {

/// Others may change rules at the same time, and a list of many may then lack some.
constexpr int kRounds = 5;

/// What is asked for is so already.
bool IsSo(int code, RuleChange change) {
  return code == 0 || (change == RuleChange::kAdd && code == -NLE_EXIST) ||
         (change == RuleChange::kDelete && code == -NLE_OBJ_NOTFOUND);
}

bool HasNoFamily(int code) { return code == -NLE_AF_NOSUPPORT || code == -NLE_OPNOTSUPP; }

const char* FamilyText(int family) { return family == AF_INET ? "IPv4" : "IPv6"; }

bool IsEnd(const RoutingRule& rule) {
  return rule.action == RuleAction::kGoto && rule.destination_bits == 0;
}

/// Jumps go first and come last: without them a packet only passes more rules.
int Rank(const RoutingRule& rule) {
  if (rule.action == RuleAction::kLookup) return 0;
  return IsEnd(rule) ? 2 : 1;
}

std::vector<RoutingRule> InOrder(const std::set<RoutingRule>& rules) {
  std::vector<RoutingRule> ordered(rules.begin(), rules.end());
  std::stable_sort(ordered.begin(), ordered.end(),
                   [](const RoutingRule& a, const RoutingRule& b) { return Rank(a) < Rank(b); });
  return ordered;
}

std::set<RoutingRule> Minus(const std::set<RoutingRule>& a, const std::set<RoutingRule>& b) {
  std::set<RoutingRule> rest;
  std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::inserter(rest, rest.end()));
  return rest;
}

}  // namespace

PolicyRules::PolicyRules(std::string accept_file) : accept_(std::move(accept_file)) {}

/// What an answer was lost of may be there all the same.
PolicyRules::~PolicyRules() {
  wanted_.clear();
  if (settled_) {
    Compare();
  } else {
    Do({{}, present_});
  }
}

std::vector<int> PolicyRules::Families() const {
  return has_ipv6_ ? std::vector<int>{AF_INET, AF_INET6} : std::vector<int>{AF_INET};
}

void PolicyRules::Settle() {
  settled_ = true;
  std::set<DestinationRule> ipv4;
  for (const DestinationRule& one : destinations_) {
    if (one.address.is_v4()) {
      ipv4.insert(one);
    } else {
      Want(LookupRule(one, kDestinationPriority));
    }
  }
  for (const RoutingRule& rule : layout_.Assign(ipv4).added) Want(rule);
  const Difference done = Compare();
  if (done.removed > 0) {
    HOST_LOG(kProgress, "%zu routing rules of an earlier run removed.", done.removed);
  }
}

void PolicyRules::Restore() {
  const Difference done = Compare();
  if (done.added > 0) {
    HOST_LOG(kNotice, "%zu routing rules that somebody else had removed are back.", done.added);
  }
  if (done.removed > 0) {
    HOST_LOG(kNotice, "%zu routing rules of protocol %d that nobody wants removed.", done.removed,
             kRulesProtocol);
  }
}

void PolicyRules::Want(const RoutingRule& rule) { wanted_.insert(rule); }

/// A refusal that nobody waits for any more is not told as healed.
void PolicyRules::Unwant(const RoutingRule& rule) {
  wanted_.erase(rule);
  if (present_.count(rule) == 0) refusals_.erase(rule);
}

bool PolicyRules::AddMark(uint32_t table) {
  if (table == 0) {
    HOST_LOG(kNotice, "No rule for the mark 0, which all packets carry.");
    return false;
  }
  accept_.TurnOn();
  const auto found = marks_.find(table);
  if (found != marks_.end()) {
    ++found->second;
    return true;
  }
  RuleChanges changes;
  for (const int family : Families()) {
    changes.added.insert(MarkRule(family, table));
    Want(MarkRule(family, table));
  }
  if (Do(changes)) {
    marks_.emplace(table, 1);
    return true;
  }
  // What was told stays noted, or each attempt of the caller would be told.
  for (const RoutingRule& rule : changes.added) wanted_.erase(rule);
  Do({{}, std::move(changes.added)});
  return false;
}

bool PolicyRules::DeleteMark(uint32_t table) {
  const auto found = marks_.find(table);
  if (found != marks_.end() && found->second > 1) {
    --found->second;
    return true;
  }
  if (found != marks_.end()) marks_.erase(found);
  RuleChanges changes;
  for (const int family : Families()) {
    Unwant(MarkRule(family, table));
    changes.removed.insert(MarkRule(family, table));
  }
  return Do(std::move(changes));
}

void PolicyRules::ForgetMark(uint32_t table) {
  if (marks_.count(table) > 0) return;
  for (const int family : Families()) Unwant(MarkRule(family, table));
}

RoutingRule PolicyRules::RuleOf(const DestinationRule& destination) const {
  return destination.address.is_v4() ? layout_.RuleOf(destination)
                                     : LookupRule(destination, kDestinationPriority);
}

RuleChanges PolicyRules::LayOut(bool add, const DestinationRule& destination) {
  if (destination.address.is_v4()) {
    return add ? layout_.Insert(destination) : layout_.Erase(destination);
  }
  RuleChanges changes;
  (add ? changes.added : changes.removed).insert(LookupRule(destination, kDestinationPriority));
  return changes;
}

bool PolicyRules::AddDestination(const DestinationRule& rule) {
  const bool is_new = destinations_.insert(rule).second;
  if (!settled_ || HasDestination(rule)) return true;
  RuleChanges changes;
  if (is_new) {
    changes = LayOut(true, rule);
    for (const RoutingRule& one : changes.removed) Unwant(one);
    for (const RoutingRule& one : changes.added) Want(one);
  } else {
    changes.added.insert(RuleOf(rule));
  }
  Do(std::move(changes));
  return HasDestination(rule);
}

bool PolicyRules::DeleteDestination(const DestinationRule& rule) {
  const bool was_wanted = destinations_.erase(rule) > 0;
  if (!settled_) return true;
  RuleChanges changes;
  if (was_wanted) {
    changes = LayOut(false, rule);
    for (const RoutingRule& one : changes.removed) Unwant(one);
    for (const RoutingRule& one : changes.added) Want(one);
  }
  // One that an earlier deletion could not remove.
  const auto is_of_rule = [&](const RoutingRule& one) {
    const RoutingRule own = LookupRule(rule, one.priority);
    return !(one < own) && !(own < one) && wanted_.count(one) == 0;
  };
  for (const auto& [one, code] : refusals_) {
    if (present_.count(one) > 0 && is_of_rule(one)) changes.removed.insert(one);
  }
  const std::set<RoutingRule> removed = changes.removed;
  Do(std::move(changes));
  return std::none_of(removed.begin(), removed.end(), [&](const RoutingRule& one) {
    return present_.count(one) > 0 && is_of_rule(one);
  });
}

bool PolicyRules::HasDestination(const DestinationRule& rule) const {
  return destinations_.count(rule) > 0 && settled_ && present_.count(RuleOf(rule)) > 0;
}

std::string PolicyRules::WhyNotDestination(const DestinationRule& rule) const {
  if (destinations_.count(rule) == 0 || !settled_) return "";
  const auto found = refusals_.find(RuleOf(rule));
  return found == refusals_.end() ? "" : RulesErrorText(found->second);
}

std::string PolicyRules::WhyNotMark(uint32_t table) const {
  for (const int family : {AF_INET, AF_INET6}) {
    const auto found = refusals_.find(MarkRule(family, table));
    if (found != refusals_.end()) return RulesErrorText(found->second);
  }
  return "";
}

/// The last rule of a block has to be behind those that come into it, and no block may end before
/// a goto of it leads elsewhere. So they are taken away and put back.
void PolicyRules::FreeEnds(RuleChanges& changes) const {
  const bool all = std::any_of(changes.removed.begin(), changes.removed.end(),
                               [](const RoutingRule& rule) { return Rank(rule) == 1; });
  std::set<uint32_t> touched;
  for (const RoutingRule& rule : changes.added) {
    if (rule.family == AF_INET) touched.insert(rule.priority);
  }
  for (uint32_t priority = kManyDestinationsPriority; priority <= kLastBlockPriority; ++priority) {
    const RoutingRule end = EndRule(priority);
    if (present_.count(end) == 0 || (!all && touched.count(priority) == 0)) continue;
    changes.removed.insert(end);
    if (wanted_.count(end) > 0) changes.added.insert(end);
  }
}

/// In an order in which every packet finds its rule at each moment. True when all was done.
bool PolicyRules::Do(RuleChanges changes) {
  FreeEnds(changes);
  const std::vector<RoutingRule> removed = InOrder(changes.removed);
  bool done = true;
  for (auto rule = removed.rbegin(); rule != removed.rend() && Rank(*rule) > 0; ++rule) {
    done = Remove(*rule) && done;
  }
  for (const RoutingRule& rule : InOrder(changes.added)) done = Add(rule) && done;
  for (const RoutingRule& rule : removed) {
    if (Rank(rule) == 0) done = Remove(rule) && done;
  }
  return done;
}

bool PolicyRules::Add(const RoutingRule& rule) {
  if (present_.count(rule) > 0) return true;
  const int code = socket_.Change(RuleChange::kAdd, rule);
  if (rule.family == AF_INET6 && HasNoFamily(code)) {
    LeaveIpv6();
    return true;
  }
  const bool done = IsSo(code, RuleChange::kAdd);
  if (done) present_.insert(rule);
  NoteResult(RuleChange::kAdd, rule, code);
  return done;
}

bool PolicyRules::Remove(const RoutingRule& rule) {
  if (present_.count(rule) == 0) return true;
  const int code = socket_.Change(RuleChange::kDelete, rule);
  const bool done = IsSo(code, RuleChange::kDelete);
  if (done) present_.erase(rule);
  NoteResult(RuleChange::kDelete, rule, code);
  return done;
}

void PolicyRules::NoteResult(RuleChange change, const RoutingRule& rule, int code) {
  const bool add = change == RuleChange::kAdd;
  if (!IsSo(code, change)) {
    is_doubtful_ = true;
    const bool is_new = refusals_.emplace(rule, code).second;
    if (!is_new) return;
    HOST_LOG(kNotice, "%s the routing rule of %s: %s", add ? "Adding" : "Deleting",
             RuleText(rule).c_str(), RulesErrorText(code).c_str());
    TellOutcome(rule, RulesErrorText(code));
  } else if ((wanted_.count(rule) > 0) == add && refusals_.erase(rule) > 0) {
    HOST_LOG(kNotice, "The routing rule of %s is %s now.", RuleText(rule).c_str(),
             add ? "there" : "gone");
    TellOutcome(rule, "");
  }
}

/// An answer was lost, and the kernel has done it all the same. A mark that is not there stays told
/// until its caller gives it up.
void PolicyRules::NoteHealed() {
  for (auto refusal = refusals_.begin(); refusal != refusals_.end();) {
    const RoutingRule& rule = refusal->first;
    const bool there = present_.count(rule) > 0;
    const bool healed = there == (wanted_.count(rule) > 0) && (there || rule.mark == 0);
    if (healed) {
      HOST_LOG(kNotice, "The routing rule of %s is %s now.", RuleText(rule).c_str(),
               there ? "there" : "gone");
      TellOutcome(rule, "");
    }
    refusal = healed ? refusals_.erase(refusal) : std::next(refusal);
  }
}

void PolicyRules::TellOutcome(const RoutingRule& rule, const std::string& reason) const {
  if (on_outcome_) on_outcome_({"routing-rule", RuleText(rule), reason});
}

RuleChanges PolicyRules::AllChanges() const {
  return {Minus(wanted_, present_), Minus(present_, wanted_)};
}

bool PolicyRules::HasRefused() const {
  return is_doubtful_ ||
         std::any_of(refusals_.begin(), refusals_.end(), [this](const auto& refusal) {
           return wanted_.count(refusal.first) != present_.count(refusal.first);
         });
}

bool PolicyRules::Retry() {
  if (is_doubtful_) {
    Compare();
  } else {
    Do(AllChanges());
  }
  return !HasRefused();
}

void PolicyRules::LeaveIpv6() {
  has_ipv6_ = false;
  for (auto rule = wanted_.begin(); rule != wanted_.end();) {
    rule = rule->family == AF_INET6 ? wanted_.erase(rule) : std::next(rule);
  }
  HOST_LOG(kNotice, "The kernel has no IPv6: routing rules are made for IPv4 only.");
}

/// Takes over what the kernel has of a family. False when it does not tell.
bool PolicyRules::ReadKernel(int family, std::vector<RulesSocket::Listed>& strangers) {
  std::vector<RulesSocket::Listed> listed;
  const int code = socket_.ListOwn(family, listed);
  if (family == AF_INET6 && HasNoFamily(code)) {
    LeaveIpv6();
    return true;
  }
  if (code < 0) {
    if (!std::exchange(list_refused_, true)) {
      HOST_LOG(kNotice, "The kernel does not tell its %s routing rules: %s", FamilyText(family),
               RulesErrorText(code).c_str());
    }
    return false;
  }
  list_refused_ = false;
  const auto of_family = [family](const RoutingRule& rule) { return rule.family == family; };
  for (auto rule = present_.begin(); rule != present_.end();) {
    rule = of_family(*rule) ? present_.erase(rule) : std::next(rule);
  }
  for (RulesSocket::Listed& one : listed) {
    if (one.rule.has_value() && present_.insert(*one.rule).second) continue;
    strangers.push_back(std::move(one));
  }
  return true;
}

/// Until the kernel has what is wanted and nothing else. A stranger may look to the kernel like a
/// rule that is wanted, and then goes with it; the next look finds that.
PolicyRules::Difference PolicyRules::Compare() {
  Difference done;
  for (int round = 0; round < kRounds; ++round) {
    std::vector<RulesSocket::Listed> strangers;
    bool all_read = true;
    for (const int family : Families()) all_read = ReadKernel(family, strangers) && all_read;
    is_doubtful_ = !all_read;
    const RuleChanges changes = AllChanges();
    if (changes.added.empty() && changes.removed.empty() && strangers.empty()) break;
    Do(changes);
    const RuleChanges left = AllChanges();
    done.added += changes.added.size() - std::min(changes.added.size(), left.added.size());
    done.removed += changes.removed.size() - std::min(changes.removed.size(), left.removed.size());
    for (const RulesSocket::Listed& one : strangers) {
      if (socket_.Delete(one) == 0) ++done.removed;
    }
    if (HasRefused()) break;
  }
  NoteHealed();
  return done;
}

}  // namespace host
