// What the configuration asks of the SNMP agent.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "snmp/endpoint.h"

namespace host {

struct AgentSettings {
  bool enabled = false;
  std::set<Endpoint> listeners;  ///< Address and extra list; empty while the agent is disabled.
  std::vector<std::string> communities;
};

/// Reads the settings from an open CDB session. Throws std::runtime_error when the schema lacks
/// what is read.
AgentSettings ReadAgentSettings(int cdb_socket);

}  // namespace host
