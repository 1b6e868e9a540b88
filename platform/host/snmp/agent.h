// The SNMP agent of the process: UDP listeners, read-only communities, the system group.
#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "snmp/deaf_listeners.h"
#include "snmp/endpoint.h"
#include "snmp/snmp_log.h"
#include "snmp/unsent_answers.h"

namespace host {

/// How often an agent looks after its listeners.
struct CheckTimes {
  std::chrono::milliseconds pause = std::chrono::minutes(1);     ///< Between two rounds.
  std::chrono::milliseconds patience = std::chrono::seconds(5);  ///< For an answer to itself.
};

/// A listener that could not be opened, and why, in the words of the system.
struct ListenerFailure {
  Endpoint endpoint;
  std::string reason;
};

/// Told of a listener that is open now, or not: then `reason` says why. It must not throw.
using ListenerObserver =
    std::function<void(const Endpoint& listener, bool bound, const std::string& reason)>;

/// What the configuration asks of an agent beside its listeners. It has no part that is not set:
/// what follows a configuration gives all of it.
struct AgentSettings {
  /// The communities that may read, from everywhere, over IPv4 and IPv6; none when empty. Requests
  /// with others get no answer. An empty text is no community, and no request can carry one of more
  /// than 255 bytes.
  std::vector<std::string> communities;
};

/// What an agent tells of itself.
struct AgentFacts {
  /// That are open, in their normal form, and deaf ones that are to be opened anew.
  std::set<Endpoint> listeners;
  UnsentAnswers unsent;
  DeafListeners deaf;
  uint64_t refused = 0;  ///< Requests.
};

/// Answers SNMPv1 and SNMPv2c reads on UDP. The agent's library keeps its state per process, so at
/// most one object exists at a time (asserted); another one may follow it. Every call is made on
/// the thread that runs the loop and never from within a log call.
///
/// Reads and writes no files. While no request comes, nothing is waiting but the sockets and, while
/// there are listeners, the timer of the next round of checks.
///
/// A listener that does not hear is opened anew, which is logged: at once where the system refuses
/// to give what has come, and in a round where its descriptor is not its own any more, where what
/// has come was not taken since the round before, or where it does not answer a request that the
/// agent sends to it. Wildcards whose port has a mark are not asked, for redirect ports answer
/// nobody who asks them by their own number; of the others kAskedAtOnce are asked in a round, each
/// in its turn.
///
/// Requests that are refused, and what the library says of requests, are logged once per sender and
/// minute at most.
class SnmpAgent {
 public:
  /// Brings the library up, without listeners and communities. Raises the process's soft limit of
  /// descriptors to the hard one. `loop` outlives the agent; `log` may be empty.
  explicit SnmpAgent(boost::asio::io_context& loop, SnmpLog log = {}, CheckTimes times = {});

  static constexpr size_t kAskedAtOnce = 64;

  /// Closes all sockets; requests that are still queued are not answered.
  ~SnmpAgent();

  SnmpAgent(const SnmpAgent&) = delete;
  SnmpAgent& operator=(const SnmpAgent&) = delete;

  /// Makes the open listeners equal to `wanted`: opens the new ones, then answers what is queued
  /// in the ones that go and closes them. The ones that stay are not touched. 0.0.0.0 hears IPv4,
  /// :: hears IPv6 only. No listener is opened where another program's socket is bound.
  ///
  /// Returns the listeners that could not be opened, in their normal form; each call tries them
  /// anew. The others serve.
  std::vector<ListenerFailure> SetListeners(const std::set<Endpoint>& wanted);

  /// `observer` is told, in the middle of the agent's work, of open listeners that are closed until
  /// they can be opened anew, and when they are open again; not of what SetListeners() returns.
  void SetListenerObserver(ListenerObserver observer);

  /// In force for every request that is read from now on; listeners are not touched.
  void Follow(const AgentSettings& settings);

  /// What the wildcard listeners (0.0.0.0 and ::) at `port` send carries `mark` from now on, 0 for
  /// none: the open ones, which are not opened anew, and those that are opened later. A refusal by
  /// the system is logged, and the listener serves without the mark.
  void SetMark(uint16_t port, uint32_t mark);

  /// Whether other sockets with SO_REUSEADDR can be bound beside the listeners, the newest of which
  /// then hears what comes; at first they cannot. One system call per listener. Not to be called
  /// with what is so already (asserted).
  void Share(bool on);

  /// Why a listener could not be opened now, in the words of the system; empty when it could.
  std::string WhyNot(const Endpoint& endpoint);

  /// The listeners that are open, in their normal form, and deaf ones that are to be opened anew.
  const std::set<Endpoint>& Listeners() const;

  /// All of it as it is now. Copies what it tells.
  AgentFacts Facts() const;

  /// True while the library has something to do at a later time.
  bool TimerRuns() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace host
