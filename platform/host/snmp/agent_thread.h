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
#include "snmp/agent_calls.h"
#include "snmp/endpoint.h"

namespace host {

/// Forwards to an SnmpAgent that lives on the thread. One other thread calls. An exception of the
/// agent's call reaches the caller; one of a request is logged, and the agent goes on.
class AgentThread : public AgentCalls {
 public:
  /// Starts the thread, which takes no signals. `log` is called on it. Throws std::system_error
  /// when there is no thread to be had.
  explicit AgentThread(SnmpLog log);

  /// Closes all sockets and ends the thread.
  ~AgentThread() override;

  AgentThread(const AgentThread&) = delete;
  AgentThread& operator=(const AgentThread&) = delete;

  /// As SnmpAgent has it; `observer` is called on the thread.
  void SetListenerObserver(ListenerObserver observer);

  // As AgentCalls has them. Each but SetMark() waits until the thread has made it, for as long as a
  // request or a round of checks may take.

  std::vector<ListenerFailure> SetListeners(const std::set<Endpoint>& wanted) override;
  void Follow(const AgentSettings& settings) override;
  void SetMark(uint16_t port, uint32_t mark) override;
  std::set<Endpoint> Listeners() override;
  void Share(bool on) override;
  std::string WhyNot(const Endpoint& endpoint) override;
  AgentFacts Facts() override;
  void Wait() override;

 private:
  /// What `call` returns, made on the thread.
  template <typename Call>
  auto Run(Call call);

  /// Ends the thread, whatever it still has to do. Needs no memory.
  void End();

  SnmpLog log_;
  boost::asio::io_context loop_;
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
  std::optional<SnmpAgent> agent_;  ///< Touched by the thread only, as long as that lives.
  std::thread thread_;
};

}  // namespace host
