// What the daemon does with its configuration, for operators to see.
#pragma once

#include <cstdint>

#include "config/tree.h"
#include "framework/listener_history.h"
#include "rules/rules.h"
#include "runtime/process.h"
#include "snmp/agent_calls.h"

namespace host {

/// Where the state is told from, all of it the caller's.
struct StateSources {
  int cdb_socket;  ///< Reads the running configuration.
  const Process& process;
  AgentCalls& agent;
  const ListenerHistory& history;
  const Rules& rules;
  bool agent_retries;  ///< Refused listeners are tried again in a moment.
  uint64_t commits;    ///< That were delivered.
};

/// The state data of snmp-app-state: the agent's listeners, redirects and routing rules as they are
/// now, the last faults and counters. A listener that should be open and is not is tried once, so
/// that it can tell why. Throws std::runtime_error when the models lack what it reads or makes.
Tree ReadState(ly_ctx* context, const StateSources& from);

}  // namespace host
