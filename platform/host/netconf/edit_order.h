// Where edits want the entries of lists whose order is the operator's (RFC 7950, sections 7.7.9 and
// 7.8.6).
#pragma once

#include <libyang/libyang.h>

#include "config/tree.h"

namespace host {

/// A place among the entries of a list or leaf-list.
struct Place {
  enum class Kind { kAny, kFirst, kLast, kBefore, kAfter };

  Kind kind = Kind::kAny;      ///< kAny is where the entry is, or the end for a new one.
  lyd_node* anchor = nullptr;  ///< The entry before or after which it is.
};

/// The place that the attributes of an element of an edit tell; `siblings` are what it will stand
/// among. Throws RpcError: unknown-attribute for an element without a place, missing-attribute,
/// bad-attribute, with missing-instance for an anchor that there is not.
Place PlaceOf(const lyd_node* edit, const lyd_node* siblings);

/// Moves `entry`, which stands in a tree, to its place. At the top another node of the tree may
/// become the first.
void MoveTo(const Place& place, lyd_node* entry);

}  // namespace host
