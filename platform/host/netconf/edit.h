// Changes of a configuration as <edit-config> asks for them (RFC 6241, section 7.2).
#pragma once

#include <libyang/libyang.h>

#include "config/tree.h"

namespace host {

enum class EditOperation { kMerge, kReplace, kCreate, kDelete, kRemove, kNone };

/// The operation of that name; kMerge for "merge" and so on. Throws RpcError, bad-attribute, for
/// another text.
EditOperation ParseEditOperation(const char* name);

/// Applies the content of a <config> element, siblings as libyang parsed them, to `*tree`, which is
/// not validated. `operation` is that of elements that do not say it. Elements that are marked as
/// written by the system are passed over, so that what was read can be sent back, to any system.
/// Throws RpcError: an element
/// or a value that the models do not have, an entry without its keys, data-exists for a creation,
/// data-missing for a deletion or, under "none", for an element that is not there; `*tree` is then
/// good for nothing but being freed.
void ApplyEdit(ly_ctx* context, const lyd_node* edit, EditOperation operation, Tree* tree);

}  // namespace host
