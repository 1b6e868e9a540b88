// What an XPath expression of an operator selects.
#pragma once

#include <libyang/libyang.h>

#include <vector>

#include "netconf/search_process.h"

namespace host {

/// The nodes among `data`, its siblings and all below them that an expression with module names as
/// prefixes selects, in document order. A copy of this process searches.
/// Throws RpcError: invalid-value for an expression that is none, or that does not select nodes;
/// and as SearchInCopy() does. The expression's length was limited when it was read.
std::vector<const lyd_node*> FindXPath(const char* expression, const lyd_node* data,
                                       const SearchLimits& limits = {});

/// For each of `trees` whether such an expression selects any node of it. One copy of this process
/// searches them all. Throws as FindXPath().
std::vector<bool> MatchXPath(const char* expression, const std::vector<const lyd_node*>& trees,
                             const SearchLimits& limits = {});

}  // namespace host
