// What the parameters of a request say.
#pragma once

#include <libyang/libyang.h>

#include <optional>
#include <string>

#include "config/yang_data.h"
#include "netconf/datastores.h"

namespace host {

/// An element of an operation or of a parameter; null when it is not there.
const lyd_node* Parameter(const lyd_node* parent, const char* name);

/// The text of a leaf of an operation, `absent` when it is not there.
std::string ParameterText(const lyd_node* operation, const char* leaf, const char* absent = "");

/// The datastore that a <source> or <target> names; the models let nothing else through.
Datastore DatastoreIn(const lyd_node* container);

/// What stands in a <config>, null for nothing. Throws RpcError for a text.
const lyd_node* ConfigContent(const lyd_node* config);

/// "set", "test-then-set" or "test-only".
std::string TestOption(const lyd_node* operation);

/// The XPath expression of a request's <filter>; none when it has another one or no filter. Throws
/// RpcError, missing-attribute.
std::optional<std::string> XPathOf(const lyd_node* operation);

/// What stands in a request's <filter> of the other kind; null for nothing.
const lyd_node* SubtreeOf(const lyd_node* operation);

/// What a request's <with-defaults>, and then its <filter>, if it has one, leave of `data`. Throws
/// RpcError.
Tree Filtered(const lyd_node* operation, Tree data);

/// How what Filtered() has left is printed, as LYD_PRINT_WD_....
uint32_t DefaultsFlag(const lyd_node* operation);

}  // namespace host
