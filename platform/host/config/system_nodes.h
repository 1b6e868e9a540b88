// What the system itself wrote into a configuration, and what operators may do with it.
#pragma once

#include <libyang/libyang.h>

#include "config/tree.h"

namespace host {

/// Marks a node as written by the system. The mark is kept by copies and in the stored file.
void MarkAsSystem(lyd_node* node);
bool IsMarkedAsSystem(const lyd_node* node);

/// Takes all marked nodes away: an operator's file that has some was read from a system, which made
/// them; the one that takes it makes its own.
void DropMarked(Tree* tree);

/// Throws Refusal with data path and reason when `candidate` has a leaf that only the
/// system writes with another value than `running`, or where `running` has none. Linear.
void RefuseOperatorWrites(const lyd_node* running, const lyd_node* candidate);

/// Adds to `candidate`, which has the containers that are always there, what the system wrote into
/// `running` and the candidate lacks, as far as what it stands in is in the candidate. Linear.
void CarryOverSystemNodes(const lyd_node* running, const Tree& candidate);

}  // namespace host
