// What the daemon does with its configuration, for operators to see.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>

#include "config/tree.h"
#include "framework/listener_history.h"
#include "rules/rules.h"
#include "runtime/process.h"
#include "snmp/deaf_listeners.h"
#include "snmp/endpoint.h"
#include "snmp/unsent_answers.h"

namespace host {

/// What the agent tells of itself.
struct AgentFacts {
  std::set<Endpoint> listeners;  ///< That are open.
  UnsentAnswers unsent;
  DeafListeners deaf;
  uint64_t refused = 0;  ///< Requests.
  bool retries = false;  ///< Refused listeners are tried again in a moment.
  /// Why a listener that is not open could not be opened now; empty when it could.
  std::function<std::string(const Endpoint&)> why_not;
};

/// The state data of snmp-app-state: the agent's listeners, redirects and routing rules as they are
/// now, the last faults and counters. `cdb_socket` reads the running configuration of `process`,
/// `rules` is what is set up in the kernel, `commits` how many were delivered. A listener that
/// should be open and is not is tried once, so that it can tell why. Throws std::runtime_error when
/// the models lack what it reads or makes.
Tree ReadState(ly_ctx* context, int cdb_socket, const Process& process, const AgentFacts& agent,
               const ListenerHistory& history, const Rules& rules, uint64_t commits);

}  // namespace host
