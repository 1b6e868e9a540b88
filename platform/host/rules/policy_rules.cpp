#include "rules/policy_rules.h"

#include <netlink/errno.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "runtime/log.h"

namespace host {

namespace {

/// What is asked for is so already.
bool IsSo(int code, RuleChange change) {
  return code == 0 || (change == RuleChange::kAdd && code == -NLE_EXIST) ||
         (change == RuleChange::kDelete && code == -NLE_OBJ_NOTFOUND);
}

const char* FamilyText(int family) { return family == AF_INET ? "IPv4" : "IPv6"; }

const char* ChangeText(RuleChange change) {
  return change == RuleChange::kAdd ? "Adding" : "Deleting";
}

std::string MarkText(int family, uint32_t table) {
  return std::string(FamilyText(family)) + " mark " + std::to_string(table);
}

std::string DestinationText(const DestinationRule& rule) {
  return rule.address.to_string() + " port " + std::to_string(rule.port) + " table " +
         std::to_string(rule.table);
}

void LogRefusal(RuleChange change, const std::string& purpose, int code) {
  HOST_LOG(kNotice, "%s the routing rule of %s: %s", ChangeText(change), purpose.c_str(),
           RulesErrorText(code).c_str());
}

}  // namespace

PolicyRules::PolicyRules(std::string accept_file) : accept_(std::move(accept_file)) {
  for (const int family : {AF_INET, AF_INET6}) Sweep(family);
}

PolicyRules::~PolicyRules() {
  for (const auto& mark : marks_) ChangeMark(RuleChange::kDelete, mark.first);
  for (const DestinationRule& rule : destinations_) ChangeDestination(RuleChange::kDelete, rule);
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
  if (!ChangeMark(RuleChange::kAdd, table)) {
    ChangeMark(RuleChange::kDelete, table);
    return false;
  }
  marks_.emplace(table, 1);
  return true;
}

bool PolicyRules::DeleteMark(uint32_t table) {
  const auto found = marks_.find(table);
  if (found == marks_.end()) return true;
  if (found->second > 1) {
    --found->second;
    return true;
  }
  if (!ChangeMark(RuleChange::kDelete, table)) return false;
  marks_.erase(found);
  return true;
}

bool PolicyRules::AddDestination(const DestinationRule& rule) {
  if (destinations_.count(rule) > 0) return true;
  if (!ChangeDestination(RuleChange::kAdd, rule)) return false;
  destinations_.insert(rule);
  return true;
}

bool PolicyRules::DeleteDestination(const DestinationRule& rule) {
  if (destinations_.count(rule) == 0) return true;
  if (!ChangeDestination(RuleChange::kDelete, rule)) return false;
  destinations_.erase(rule);
  return true;
}

void PolicyRules::Restore() {
  size_t restored = 0;
  for (const int family : {AF_INET, AF_INET6}) {
    if (IsIncomplete(family)) restored += AddMissing(family);
  }
  if (restored == 0) return;
  HOST_LOG(kNotice, "%zu routing rules that somebody else had removed are back.", restored);
}

/// A dump that cannot be had counts as one that lacks rules.
bool PolicyRules::IsIncomplete(int family) {
  if (family == AF_INET6 && !has_ipv6_) return false;
  const auto of_family = [family](const DestinationRule& rule) {
    return rule.address.is_v4() == (family == AF_INET);
  };
  const auto wanted = marks_.size() + static_cast<size_t>(std::count_if(
                                          destinations_.begin(), destinations_.end(), of_family));
  std::vector<RuleMessage> listed;
  return socket_.ListOwn(family, listed) < 0 || listed.size() < wanted;
}

/// Adds every rule of a family; those that are there are refused by the kernel. Returns how many
/// were not.
size_t PolicyRules::AddMissing(int family) {
  size_t added = 0;
  for (const auto& mark : marks_) {
    const bool is_new =
        AddOne(MarkMessage(RuleChange::kAdd, family, mark.first), MarkText(family, mark.first));
    added += is_new ? 1 : 0;
  }
  for (const DestinationRule& rule : destinations_) {
    if (rule.address.is_v4() != (family == AF_INET)) continue;
    const bool is_new = AddOne(DestinationMessage(RuleChange::kAdd, rule), DestinationText(rule));
    added += is_new ? 1 : 0;
  }
  return added;
}

/// True when the rule was not there and is now.
bool PolicyRules::AddOne(RuleMessage message, const std::string& purpose) {
  const int code = socket_.Change(std::move(message));
  if (!IsSo(code, RuleChange::kAdd)) LogRefusal(RuleChange::kAdd, purpose, code);
  return code == 0;
}

/// A dump that others change rules under may miss some, so the last one has to be clean.
void PolicyRules::Sweep(int family) {
  while (SweepOnce(family)) {
  }
}

/// True when something was removed.
bool PolicyRules::SweepOnce(int family) {
  std::vector<RuleMessage> deletions;
  const int listed = socket_.ListOwn(family, deletions);
  if (listed == -NLE_AF_NOSUPPORT && family == AF_INET6) {
    has_ipv6_ = false;
    HOST_LOG(kNotice, "The kernel has no IPv6: routing rules are made for IPv4 only.");
    return false;
  }
  size_t removed = 0;
  int code = listed == -NLE_DUMP_INTR ? 0 : listed;
  for (RuleMessage& deletion : deletions) {
    const int deleted = socket_.Change(std::move(deletion));
    if (deleted == 0) {
      ++removed;
    } else {
      code = deleted;
    }
  }
  if (code < 0) {
    HOST_LOG(kNotice, "%s routing rules of an earlier run cannot be removed: %s",
             FamilyText(family), RulesErrorText(code).c_str());
  }
  if (removed > 0) {
    HOST_LOG(kProgress, "%zu %s routing rules of an earlier run removed.", removed,
             FamilyText(family));
  }
  return removed > 0 || (listed == -NLE_DUMP_INTR && code == 0);
}

bool PolicyRules::ChangeMark(RuleChange change, uint32_t table) {
  const bool ipv4 = ChangeMarkOf(AF_INET, change, table);
  return (!has_ipv6_ || ChangeMarkOf(AF_INET6, change, table)) && ipv4;
}

bool PolicyRules::ChangeMarkOf(int family, RuleChange change, uint32_t table) {
  return Request(MarkMessage(change, family, table), change, MarkText(family, table));
}

bool PolicyRules::ChangeDestination(RuleChange change, const DestinationRule& rule) {
  return Request(DestinationMessage(change, rule), change, DestinationText(rule));
}

bool PolicyRules::Request(RuleMessage message, RuleChange change, const std::string& purpose) {
  const int code = socket_.Change(std::move(message));
  if (IsSo(code, change)) return true;
  LogRefusal(change, purpose, code);
  return false;
}

}  // namespace host
