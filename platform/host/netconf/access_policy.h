// The rules of access in force (RFC 8341, 3.3), made ready for use.
#pragma once

#include <libyang/libyang.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "config/schema.h"
#include "netconf/access_path.h"

namespace host {

/// What may be done to something, as bits.
enum AccessOp : unsigned {
  kCreateAccess = 1,
  kReadAccess = 2,
  kUpdateAccess = 4,
  kDeleteAccess = 8,
  kExecAccess = 16,
  kAnyAccess = 31
};

struct AccessRule {
  enum class Kind { kAny, kOperation, kNotification, kData };

  Kind kind = Kind::kAny;
  std::string module;              ///< "*" for all.
  std::string target;              ///< An operation's or a notification's name, "*" for all.
  std::optional<AccessPath> path;  ///< With kData.
  unsigned operations = 0;         ///< AccessOp.
  bool permits = false;
};

struct AccessRuleList {
  std::set<std::string> groups;  ///< With "*" it is about everybody who is in any group.
  std::vector<AccessRule> rules;
};

/// All of it; the models outlive it.
struct AccessPolicy {
  bool is_enabled = true;
  bool uses_external_groups = true;
  bool permits_reads = true;  ///< Where no rule says anything, as the next two.
  bool permits_writes = false;
  bool permits_execution = true;
  std::map<std::string, std::set<std::string>> groups_of_users;
  std::vector<AccessRuleList> lists;
  std::set<const lysc_node*> secrets;  ///< What only a rule can permit, as default-deny-all does.
};

/// What a configuration says in ietf-netconf-acm, or the policy that is built in where it says
/// nothing there. Throws std::exception when it cannot be made: nobody has access then.
AccessPolicy PolicyOf(const Schema& models, const lyd_node* configuration);

/// The built-in policy as configuration, in JSON: the group snmp-app may do everything,
/// snmp-app-read may read all but what is secret and listen to notifications, others nothing.
std::string BuiltInPolicy(const Schema& models);

}  // namespace host
