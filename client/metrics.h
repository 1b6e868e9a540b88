// The daemon's state as metrics in Prometheus' text format, version 0.0.4.
#pragma once

#include <libyang/libyang.h>

#include <ostream>
#include <string>

namespace show {

/// Prints the figures of a tree of the models snmp-app-state and ietf-netconf-monitoring: numbers,
/// times in seconds of the UNIX epoch, and booleans as 1 and 0, of which a 0 that is no fault is
/// left out. A metric without samples is left out, too. `tree` is the first node at the top and
/// stays the caller's; the session `own_session` is not counted.
void PrintMetrics(std::ostream& out, const lyd_node* tree, const std::string& own_session);

/// A text as it stands between the quotes of a label.
std::string EscapeLabel(const std::string& text);

}  // namespace show
