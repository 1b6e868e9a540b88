// The daemon's state as tables for people.
#pragma once

#include <libyang/libyang.h>

#include <string>

#include "selection.h"
#include "table.h"

namespace show {

/// Prints what a selection has of a tree of the models snmp-app-state and ietf-netconf-monitoring:
/// of everything two lines about the node as a whole and then the tables, else the tables of that
/// kind. What a leaf has is printed as it is written there, but a boolean as "yes" or "no"; a dash
/// where there is no leaf, or where a "no" is no fault. `tree` is the first node at the top and
/// stays the caller's; the session `own_session` is left out.
void PrintState(const Output& out, const lyd_node* tree, const Selection& selection,
                const std::string& own_session);

/// The NETCONF sessions of a tree without that one.
std::vector<const lyd_node*> SessionsOf(const lyd_node* tree, const std::string& own_session);

/// A time span for people, in its two largest units: "3 h 12 min".
std::string SpanText(unsigned long long seconds);

}  // namespace show
