#include "rules/policy_rules.h"

#include <netlink/errno.h>
#include <sys/socket.h>

#include <utility>
#include <vector>

#include "runtime/log.h"

namespace host {

namespace {

/// Counts one more user of `key`; the first one comes with `add`. False, and not counted, when that
/// fails.
template <typename Key, typename Add>
bool AddUser(std::map<Key, size_t>& users, const Key& key, Add add) {
  const auto found = users.find(key);
  if (found != users.end()) {
    ++found->second;
    return true;
  }
  if (!add()) return false;
  users.emplace(key, 1);
  return true;
}

/// The reverse: the last one goes with `remove`, and stays when that fails.
template <typename Key, typename Remove>
bool DeleteUser(std::map<Key, size_t>& users, const Key& key, Remove remove) {
  const auto found = users.find(key);
  if (found == users.end()) return true;
  if (found->second > 1) {
    --found->second;
    return true;
  }
  if (!remove()) return false;
  users.erase(found);
  return true;
}

/// What is asked for is so already.
bool IsSo(int code, RuleChange change) {
  return code == 0 || (change == RuleChange::kAdd && code == -NLE_EXIST) ||
         (change == RuleChange::kDelete && code == -NLE_OBJ_NOTFOUND);
}

const char* FamilyText(int family) { return family == AF_INET ? "IPv4" : "IPv6"; }

const char* ChangeText(RuleChange change) {
  return change == RuleChange::kAdd ? "Adding" : "Deleting";
}

}  // namespace

PolicyRules::PolicyRules(std::string accept_file) : accept_(std::move(accept_file)) {
  for (const int family : {AF_INET, AF_INET6}) Sweep(family);
}

PolicyRules::~PolicyRules() {
  for (const auto& mark : marks_) ChangeMark(RuleChange::kDelete, mark.first);
  for (const auto& destination : destinations_) {
    ChangeDestination(RuleChange::kDelete, destination.first);
  }
}

bool PolicyRules::AddMark(uint32_t table) {
  if (table == 0) {
    HOST_LOG(kNotice, "No rule for the mark 0, which all packets carry.");
    return false;
  }
  accept_.TurnOn();
  return AddUser(marks_, table, [&] {
    if (ChangeMark(RuleChange::kAdd, table)) return true;
    ChangeMark(RuleChange::kDelete, table);
    return false;
  });
}

bool PolicyRules::DeleteMark(uint32_t table) {
  return DeleteUser(marks_, table, [&] { return ChangeMark(RuleChange::kDelete, table); });
}

bool PolicyRules::AddDestination(const DestinationRule& rule) {
  return AddUser(destinations_, rule, [&] { return ChangeDestination(RuleChange::kAdd, rule); });
}

bool PolicyRules::DeleteDestination(const DestinationRule& rule) {
  return DeleteUser(destinations_, rule,
                    [&] { return ChangeDestination(RuleChange::kDelete, rule); });
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
  return Request(MarkMessage(change, family, table), change,
                 std::string(FamilyText(family)) + " mark " + std::to_string(table));
}

bool PolicyRules::ChangeDestination(RuleChange change, const DestinationRule& rule) {
  return Request(DestinationMessage(change, rule), change,
                 rule.address.to_string() + " port " + std::to_string(rule.port) + " table " +
                     std::to_string(rule.table));
}

bool PolicyRules::Request(RuleMessage message, RuleChange change, const std::string& purpose) {
  const int code = socket_.Change(std::move(message));
  if (IsSo(code, change)) return true;
  HOST_LOG(kNotice, "%s the routing rule of %s: %s", ChangeText(change), purpose.c_str(),
           RulesErrorText(code).c_str());
  return false;
}

}  // namespace host
