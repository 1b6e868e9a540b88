// Where edits want the entries of lists whose order is the operator's (RFC 7950, sections 7.7.9 and
// 7.8.6).
#pragma once

#include <libyang/libyang.h>

#include "config/tree_edit.h"

namespace host {

/// The place that the attributes of an element of an edit tell; `siblings` are what it will stand
/// among. Throws RpcError: unknown-attribute for an element without a place, missing-attribute,
/// bad-attribute, with missing-instance for an anchor that there is not.
Place PlaceOf(const lyd_node* edit, const lyd_node* siblings);

}  // namespace host
