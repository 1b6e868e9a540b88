// Edits of the cases of choices, one of which a configuration has (RFC 7950, section 7.9).
#pragma once

#include <libyang/libyang.h>

#include <set>

namespace host {

/// Throws RpcError when an edit sets two cases of one choice; `seen` are the elements before this
/// one.
void RequireOneCase(const lyd_node* edit, std::set<const lysc_node*>* seen);

}  // namespace host
