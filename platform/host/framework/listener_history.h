// What became of the attempts to open the agent's listeners.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "snmp/agent.h"
#include "snmp/endpoint.h"

namespace host {

/// Of one listener, as long as it is wanted.
struct ListenerRecord {
  bool bound = false;                           ///< The last attempt succeeded.
  std::string last_error;                       ///< Empty when no attempt failed.
  std::chrono::system_clock::time_point since;  ///< Of the present `bound`.
  uint64_t tries = 0;                           ///< Attempts to open it while it was not.
};

/// Calls no agent: it is told. Costs a look-up for each listener that it is told of.
class ListenerHistory {
 public:
  void SetObserver(ListenerObserver observer) { observer_ = std::move(observer); }

  /// Takes down what one rebind has done: who was wanted, and who could not be opened. What is not
  /// wanted any more is forgotten. A listener's first refusal is logged, and that it is open at
  /// last.
  void Note(const std::set<Endpoint>& wanted, const std::vector<ListenerFailure>& failures);

  /// The same of another attempt at some that were refused.
  void NoteRetry(const std::set<Endpoint>& tried, const std::vector<ListenerFailure>& failures);

  /// Those of the last rebind that are not open.
  std::set<Endpoint> Refused() const;

  /// No listener is wanted, for that reason.
  void Clear(const char* reason);

  /// The record of a listener in its normal form, or null when it was never tried.
  const ListenerRecord* Find(const Endpoint& endpoint) const;

  /// How many rebinds there were.
  uint64_t Rebinds() const { return rebinds_; }

 private:
  void Update(const Endpoint& endpoint, const std::string& reason, ListenerRecord& record) const;
  void TellGone(const std::map<Endpoint, ListenerRecord>& gone, const char* reason) const;

  std::map<Endpoint, ListenerRecord> records_;
  ListenerObserver observer_;
  uint64_t rebinds_ = 0;
};

}  // namespace host
