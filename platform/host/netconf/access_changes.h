// Which changes of a datastore a user may make (RFC 8341, 3.2).
#pragma once

#include <libyang/libyang.h>

#include "netconf/access.h"

namespace host {

/// Throws AccessDenied for the first node that would come, go or get another value or place, and
/// that `access` does not let do so. What the models give or take by themselves needs no right:
/// default values, containers that are always there, other cases of a choice; nor does what the
/// system writes. A leaf that gets a value where it had its default is a new one, and the other way
/// round one that goes.
void RequireChanges(const Access& access, const lyd_node* before, const lyd_node* after);

}  // namespace host
