// The daemon's state as tables for people.
#pragma once

#include <libyang/libyang.h>

#include <ostream>

namespace show {

/// Prints a tree of the model snmp-app-state: a line about the node as a whole, then the tables.
/// What a leaf has is printed as it is written there, but a boolean as "yes" or "no"; a dash where
/// there is no leaf. `state` is the container at the top and stays the caller's.
void PrintState(std::ostream& out, const lyd_node* state);

}  // namespace show
