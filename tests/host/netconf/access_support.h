// What the tests of access control share.
#pragma once

#include <string>

#include "netconf/access.h"
#include "netconf/access_peer.h"
#include "netconf/access_policy.h"
#include "netconf_support.h"

namespace host::test {

/// A configuration of ietf-netconf-acm in JSON: `leaves` are its own, with a comma behind each.
std::string NacmJson(const std::string& rule_lists, const std::string& leaves = "");

/// A rule list for a group; and a rule, whose `about` is JSON with a comma at its end.
std::string RuleListJson(const std::string& group, const std::string& rules);
std::string RuleJson(const std::string& about, const std::string& action);

/// The policy of a configuration in JSON, on the device's models.
host::AccessPolicy PolicyOfJson(const std::string& json);

/// The models of this folder, with the IETF's, loaded once.
const host::Schema& OrderModels();

/// The first node that a path means in a tree, which must have it.
const lyd_node* NodeAt(const host::Tree& tree, const std::string& path);

}  // namespace host::test
