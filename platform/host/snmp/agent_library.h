// The agent's library: its state of the process, the objects that it serves, its log.
#pragma once

#include "snmp/snmp_log.h"

namespace host {

/// Holds the library up: the system group, the table of MIBs that it names and the snmp group, no
/// other objects and no SNMPv3. One at a time in a process (asserted).
class AgentLibrary {
 public:
  /// `log` is called with what the library says until the object is gone. The library reads no
  /// configuration file and writes none.
  explicit AgentLibrary(SnmpLog log);

  /// Takes the library down; a later object brings it up again.
  ~AgentLibrary();

  AgentLibrary(const AgentLibrary&) = delete;
  AgentLibrary& operator=(const AgentLibrary&) = delete;

 private:
  SnmpLog log_;
};

}  // namespace host
