// What the daemon does with its configuration, for operators to see.
#pragma once

#include <set>

#include "config/tree.h"
#include "framework/listener_history.h"
#include "rules/rules.h"
#include "snmp/endpoint.h"

namespace host {

/// The state data of snmp-app-state: the agent's listeners, redirects and routing rules as they are
/// now, the last faults and counters. `cdb_socket` reads the running configuration, `bound` are
/// the listeners that are open, `rules` what is set up in the kernel, `commits` is how many were
/// delivered. A listener that should be open and is not is tried once by a socket of the function's
/// own, so that it can tell why. Throws std::runtime_error when the models lack what it reads or
/// makes.
Tree ReadState(ly_ctx* context, int cdb_socket, const std::set<Endpoint>& bound,
               const ListenerHistory& history, const Rules& rules, uint64_t commits);

}  // namespace host
