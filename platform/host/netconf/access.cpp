#include "netconf/access.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "config/yang_data.h"

namespace host {

namespace {

constexpr char kNetconf[] = "ietf-netconf";
constexpr char kAcm[] = "ietf-netconf-acm";

constexpr char kHistory[] = "snmp-app-history";

/// RFC 5277's own ones, which end a replay and a subscription.
constexpr char kNotifications[] = "nc-notifications";
constexpr const char* kAlwaysSent[] = {"replayComplete", "notificationComplete"};

constexpr unsigned kWriteAccess = kCreateAccess | kUpdateAccess | kDeleteAccess;

bool Means(const std::string& name, const char* text) { return name == "*" || name == text; }

bool IsOf(const lysc_node* element, const char* module, const char* name) {
  return strcmp(element->name, name) == 0 && strcmp(element->module->name, module) == 0;
}

bool HasExtension(const lysc_node* element, const char* name) {
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(element->exts, i) {
    const lysc_ext* definition = element->exts[i].def;
    if (strcmp(definition->name, name) == 0 && strcmp(definition->module->name, kAcm) == 0) {
      return true;
    }
  }
  return false;
}

std::set<std::string> GroupsOf(const AccessPolicy& policy, const Peer& peer) {
  std::set<std::string> groups;
  const auto found = policy.groups_of_users.find(peer.user);
  if (found != policy.groups_of_users.end()) groups = found->second;
  if (policy.uses_external_groups) groups.insert(peer.groups.begin(), peer.groups.end());
  return groups;
}

bool IsAbout(const AccessRuleList& list, const std::set<std::string>& groups) {
  if (groups.empty()) return false;
  if (list.groups.count("*") != 0) return true;
  return std::any_of(groups.begin(), groups.end(),
                     [&list](const std::string& group) { return list.groups.count(group) != 0; });
}

/// Whether a rule can be about the data at all, given what is done to them.
bool IsAboutData(const AccessRule& rule, unsigned operations) {
  const bool is_data = rule.kind == AccessRule::Kind::kAny || rule.kind == AccessRule::Kind::kData;
  return is_data && (rule.operations & operations) != 0;
}

}  // namespace

Access::Access(const AccessPolicy& policy, const Peer& peer)
    : policy_(policy), is_unlimited_(peer.is_recovery || !policy.is_enabled) {
  if (!is_unlimited_) {
    const std::set<std::string> groups = GroupsOf(policy, peer);
    for (const AccessRuleList& list : policy.lists) {
      if (!IsAbout(list, groups)) continue;
      for (const AccessRule& rule : list.rules) rules_.push_back(&rule);
    }
  }
  may_read_all_ = is_unlimited_ || MayDoAll(kReadAccess);
  may_write_all_ = is_unlimited_ || MayDoAll(kWriteAccess);
}

/// Whether rules permit it before any could deny it of something. By default it is never all.
bool Access::MayDoAll(unsigned operations) const {
  for (const AccessRule* rule : rules_) {
    if (!IsAboutData(*rule, operations)) continue;
    if (!rule->permits) return false;
    if (rule->kind == AccessRule::Kind::kAny && rule->module == "*") {
      operations &= ~rule->operations;
    }
    if (operations == 0) return true;
  }
  return false;
}

/// The steps of RFC 8341, 3.4.4.
bool Access::MayExecute(const lysc_node* operation) const {
  if (is_unlimited_ || IsOf(operation, kNetconf, "close-session")) return true;
  for (const AccessRule* rule : rules_) {
    const bool is_meant =
        rule->kind == AccessRule::Kind::kAny ||
        (rule->kind == AccessRule::Kind::kOperation && Means(rule->target, operation->name));
    if (is_meant && Means(rule->module, operation->module->name) &&
        (rule->operations & kExecAccess) != 0) {
      return rule->permits;
    }
  }
  if (HasExtension(operation, "default-deny-all")) return false;
  // Who may take a whole configuration back needs no right to what it changes.
  const bool needs_rule = IsOf(operation, kNetconf, "kill-session") ||
                          IsOf(operation, kNetconf, "delete-config") ||
                          IsOf(operation, kHistory, "rollback");
  return !needs_rule && policy_.permits_execution;
}

/// The steps of RFC 8341, 3.4.6.
bool Access::MayReceive(const lysc_node* notification, const lyd_node* parent) const {
  if (is_unlimited_) return true;
  for (const char* name : kAlwaysSent) {
    if (IsOf(notification, kNotifications, name)) return true;
  }
  if (parent != nullptr && !MayRead({parent->schema, parent})) return false;
  for (const AccessRule* rule : rules_) {
    const bool is_named =
        rule->kind == AccessRule::Kind::kNotification && Means(rule->target, notification->name);
    const bool is_at = rule->kind == AccessRule::Kind::kData && parent != nullptr &&
                       rule->path->Covers({notification, parent});
    const bool is_meant = rule->kind == AccessRule::Kind::kAny || is_named || is_at;
    if (is_meant && Means(rule->module, notification->module->name) &&
        (rule->operations & kReadAccess) != 0) {
      return rule->permits;
    }
  }
  return !HasExtension(notification, "default-deny-all") && policy_.permits_reads;
}

/// The steps of RFC 8341, 3.4.5.
bool Access::Permits(AccessOp operation, const AccessPlace& place) const {
  if (is_unlimited_) return true;
  for (const AccessRule* rule : rules_) {
    if (!IsAboutData(*rule, operation) || !Means(rule->module, place.element->module->name)) {
      continue;
    }
    if (!rule->path || rule->path->Covers(place)) return rule->permits;
  }
  return PermitsByDefault(operation, place.element);
}

/// What a model marks keeps all below it, too.
bool Access::PermitsByDefault(AccessOp operation, const lysc_node* element) const {
  const bool reads = operation == kReadAccess;
  for (const lysc_node* node = element; node != nullptr; node = lysc_data_parent(node)) {
    if (HasExtension(node, "default-deny-all") || policy_.secrets.count(node) != 0) return false;
    if (!reads && HasExtension(node, "default-deny-write")) return false;
  }
  return reads ? policy_.permits_reads : policy_.permits_writes;
}

bool Access::MayRead(const AccessPlace& place) const {
  if (may_read_all_) return true;
  if (!Permits(kReadAccess, place)) return false;
  const bool is_itself = place.instance != nullptr && place.instance->schema == place.element;
  const lyd_node* above = is_itself ? lyd_parent(place.instance) : place.instance;
  for (; above != nullptr; above = lyd_parent(above)) {
    if (!Permits(kReadAccess, {above->schema, above})) return false;
  }
  return true;
}

/// An entry cannot be told without its keys.
bool Access::IsHidden(lyd_node* node) const {
  if (!Permits(kReadAccess, {node->schema, node})) return true;
  for (lyd_node* child = lyd_child(node); child != nullptr && lysc_is_key(child->schema);
       child = child->next) {
    if (!Permits(kReadAccess, {child->schema, child})) return true;
  }
  return false;
}

void Access::CollectHidden(lyd_node* siblings, std::vector<lyd_node*>* hidden) const {
  for (lyd_node* node = siblings; node != nullptr; node = node->next) {
    if (IsHidden(node)) {
      hidden->push_back(node);
    } else {
      CollectHidden(lyd_child_no_keys(node), hidden);
    }
  }
}

void Access::Prune(Tree* data) const {
  if (may_read_all_) return;
  // The place of an entry without keys is among all of them, so they stay until all are looked at.
  std::vector<lyd_node*> hidden;
  CollectHidden(data->get(), &hidden);
  for (lyd_node* node : hidden) Remove(data, node);
}

}  // namespace host
