// The parts of a data tree that a request asks for (RFC 6241, section 6 and section 8.9).
#pragma once

#include <libyang/libyang.h>

#include "config/tree.h"

namespace host {

/// What a subtree filter selects; `filter` is the content of the <filter> element, siblings as
/// libyang parsed them, null for an empty one, which selects nothing.
Tree SelectSubtree(const lyd_node* filter, const lyd_node* data);

/// What an XPath expression with module names as prefixes selects, with what it stands in. Throws
/// RpcError for an expression that is none, or that does not select nodes.
Tree SelectXPath(const char* expression, const lyd_node* data);

}  // namespace host
