// The SNMP agent on a thread of its own: a commit of thousands of interfaces keeps no request
// waiting.
#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "snmp/agent.h"
#include "snmp/endpoint.h"

namespace host {

/// Forwards to an SnmpAgent that lives on the thread; what SnmpAgent says of a call holds here. One
/// other thread calls. An exception of the agent's call reaches the caller; one of a request is
/// logged, and the agent goes on.
class AgentThread {
 public:
  /// Starts the thread, which takes no signals. `log` is called on it. Throws std::system_error
  /// when there is no thread to be had.
  explicit AgentThread(SnmpLog log);

  /// Closes all sockets and ends the thread.
  ~AgentThread();

  AgentThread(const AgentThread&) = delete;
  AgentThread& operator=(const AgentThread&) = delete;

  std::vector<ListenerFailure> SetListeners(const std::set<Endpoint>& wanted);
  void SetCommunities(const std::vector<std::string>& communities);

  /// Returns at once: thousands of marks are set without waiting for each. In force when the next
  /// other call returns.
  void SetMark(uint16_t port, uint32_t mark);

  std::set<Endpoint> Listeners();
  void Share(bool on);
  std::string WhyNot(const Endpoint& endpoint);
  UnsentAnswers Unsent();
  DeafListeners Deaf();
  uint64_t Refused();

  /// Waits until the agent has done what it was told.
  void Wait();

 private:
  template <typename Call>
  auto Run(Call call);
  void Serve();

  SnmpLog log_;
  boost::asio::io_context loop_;
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
  std::optional<SnmpAgent> agent_;  // touched by the thread only
  std::thread thread_;
};

/// While it exists, the addresses of the agent's listeners can be probed by sockets with
/// SO_REUSEADDR, those of other programs included: to be held where a probe may be made, and no
/// longer. One at a time.
class ProbeWindow {
 public:
  /// `agent` outlives the object.
  explicit ProbeWindow(AgentThread& agent) : agent_(agent) { agent_.Share(true); }
  ~ProbeWindow() { agent_.Share(false); }

  ProbeWindow(const ProbeWindow&) = delete;
  ProbeWindow& operator=(const ProbeWindow&) = delete;

 private:
  AgentThread& agent_;
};

}  // namespace host
