// What changed between two configurations.
#pragma once

#include <libyang/libyang.h>

#include <vector>

#include "config/schema.h"
#include "delivery/change.h"

namespace host {

/// The changes that lead from one configuration to another; both are of `schema`, validated and
/// with defaults. Among the children of an element, what went away comes first, then what came or
/// changed, in the new order.
///
/// A leaf that falls back to its default is set to that value. A leaf-list is one value, also when
/// it became empty; the order of its entries counts only where the model says that the user gives
/// it. Keys are no changes of their own. The time taken is linear in both configurations.
std::vector<common::Change> Differences(const Schema& schema, const lyd_node* old_tree,
                                        const lyd_node* new_tree);

}  // namespace host
