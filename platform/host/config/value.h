// Values of a data tree as ConfD has them. The way back is the value's text, which libyang reads
// with the element's own type.
#pragma once

#include <libyang/libyang.h>

#include <vector>

#include "confd_lib.h"
#include "config/schema.h"
#include "delivery/change.h"

namespace host {

/// The value of a leaf or of one entry of a leaf-list; the caller owns it. Booleans, bytes,
/// addresses with and without prefix length and the integers that confd_vtype has keep their type,
/// all else is its canonical text as C_BUF.
confd_value_t TermValue(const lyd_node* term);

/// All entries of a leaf-list, `first` and those behind it, as C_LIST; the caller owns it. Null is
/// an empty leaf-list.
confd_value_t LeafListValue(const lyd_node* first);

/// The value of one child of an entry or container, C_NOEXISTS when it is not there; what is no
/// leaf is a C_XMLTAG. The caller owns it.
confd_value_t ChildValue(const Schema& schema, const lyd_node* parent, const lysc_node* element);

/// The keys of a list entry, in the order of the list's key statement.
std::vector<common::OwnedValue> EntryKeys(const lyd_node* entry);

}  // namespace host
