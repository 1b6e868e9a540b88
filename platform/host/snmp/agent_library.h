// The agent's library: its state of the process, the objects that it serves, its log.
#pragma once

#include "snmp/agent.h"

namespace host {

/// Holds the library up: the system group, the table of MIBs that it names and the snmp group, no
/// other objects and no SNMPv3. One at a time in a process (asserted).
class AgentLibrary {
 public:
  explicit AgentLibrary(SnmpLog log);
  ~AgentLibrary();

  AgentLibrary(const AgentLibrary&) = delete;
  AgentLibrary& operator=(const AgentLibrary&) = delete;

 private:
  SnmpLog log_;
};

}  // namespace host
