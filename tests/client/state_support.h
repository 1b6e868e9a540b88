// What the tests of snmp-app-show share.
#pragma once

#include <libyang/libyang.h>

#include <string>
#include <vector>

#include "config/schema.h"
#include "config/tree.h"

namespace show::test {

/// The device's models with the IETF's, loaded once.
const host::Schema& Models();

/// <snmp-state> with that content.
std::string StateXml(const std::string& content);

/// A tree of elements at the top.
host::Tree TreeOf(const std::string& xml);

/// A tree of <snmp-state> alone.
host::Tree StateOf(const std::string& content);

/// The container of the state.
const lysc_node* StateContainer();

/// All that can stand below `node`, once; `changed` has its second value.
std::string Filled(const lysc_node* node, const lysc_node* changed);

std::vector<const lysc_node*> LeavesBelow(const lysc_node* node);

}  // namespace show::test
