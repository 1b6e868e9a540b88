// What the configuration has an SNMP agent do.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "runtime/event_loop.h"
#include "snmp/agent.h"
#include "snmp/endpoint.h"

namespace host {

/// What SnmpAgent says of a call holds here. A process has one agent, since its library keeps its
/// state there: who follows a configuration is given one.
class AgentCalls {
 public:
  virtual ~AgentCalls() = default;

  virtual std::vector<ListenerFailure> SetListeners(const std::set<Endpoint>& wanted) = 0;
  virtual void Follow(const AgentSettings& settings) = 0;

  /// May return before it is done: thousands of marks are set without waiting for each. In force
  /// when the next other call returns.
  virtual void SetMark(uint16_t port, uint32_t mark) = 0;

  virtual std::set<Endpoint> Listeners() = 0;
  virtual void Share(bool on) = 0;
  virtual std::string WhyNot(const Endpoint& endpoint) = 0;
  virtual AgentFacts Facts() = 0;

  /// Waits until the agent has done what it was told.
  virtual void Wait() = 0;
};

/// While it exists, the addresses of the agent's listeners can be probed by sockets with
/// SO_REUSEADDR, those of other programs included: to be held where a probe may be made, and no
/// longer. One at a time.
class ProbeWindow {
 public:
  /// `agent` outlives the object.
  explicit ProbeWindow(AgentCalls& agent) : agent_(agent) { agent_.Share(true); }
  /// Ends the process with a fault where it cannot be closed: others could listen beside the agent.
  ~ProbeWindow() {
    RunEvent(
        "ending, for the agent's addresses stay open to others", [this] { agent_.Share(false); },
        EndWithFault);
  }

  ProbeWindow(const ProbeWindow&) = delete;
  ProbeWindow& operator=(const ProbeWindow&) = delete;

 private:
  AgentCalls& agent_;
};

}  // namespace host
