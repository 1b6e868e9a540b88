// What the configuration asks of the SNMP agent.
#pragma once

#include <array>
#include <set>

#include "snmp/agent.h"
#include "snmp/endpoint.h"

namespace host {

// Reads from an open CDB session. Each throws std::runtime_error when the schema lacks what is
// read.

bool ReadAgentEnabled(int cdb_socket);

/// Address and extra list; empty while the agent is disabled. An entry that serves redirects is
/// there for IPv6 as well. Linear in the number of listening interfaces.
std::set<Endpoint> ReadAgentListeners(int cdb_socket);

/// Where the configuration has the agent's addresses: who follows these may probe them.
extern const std::array<const char*, 3> kAgentAddresses;

AgentSettings ReadAgentSettings(int cdb_socket);

}  // namespace host
