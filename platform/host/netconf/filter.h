// The parts of a data tree that a request asks for (RFC 6241, section 6 and section 8.9).
#pragma once

#include <libyang/libyang.h>

#include <cstddef>

#include "config/tree.h"
#include "netconf/xpath_search.h"

namespace host {

/// Each element of a filter may be looked for at each of the data, so their number limits the time
/// that one request takes.
constexpr size_t kMaxFilterElements = 4096;

/// What a subtree filter selects; `filter` is the content of the <filter> element, siblings as
/// libyang parsed them, null for an empty one, which selects nothing. Throws
/// RpcError, too-big, for more than kMaxFilterElements elements.
Tree SelectSubtree(const lyd_node* filter, const lyd_node* data);

/// Whether a subtree filter selects anything of `data`, a notification. Throws as SelectSubtree().
bool MatchesSubtree(const lyd_node* filter, const lyd_node* data);

/// What an XPath expression with module names as prefixes selects, with what it stands in. Throws
/// RpcError as FindXPath() does.
Tree SelectXPath(const char* expression, const lyd_node* data, const SearchLimits& limits = {});

}  // namespace host
