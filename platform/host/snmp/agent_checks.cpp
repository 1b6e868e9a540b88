// How the agent looks after its listeners.
#include <syslog.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "snmp/agent_impl.h"

namespace host {

namespace {

/// Listeners that are checked in a row, before requests have their turn: two system calls each.
constexpr size_t kCheckedAtOnce = 256;

}  // namespace

void SnmpAgent::Impl::FoundDeaf(const Endpoint& endpoint, const std::string& reason) {
  if (!deaf.WasReopened(endpoint, DeafListeners::Clock::now(), times.patience)) {
    Reopen(endpoint, reason, Sign::kSystem);
    return;
  }
  // It would be opened anew without end.
  listeners.at(endpoint)->Close();
  const bool was_closed = deaf.IsClosed(endpoint);
  deaf.Closed(endpoint, reason);
  Hurry();
  TellClosed(endpoint, was_closed, reason);
}

void SnmpAgent::Impl::TellClosed(const Endpoint& endpoint, bool was_closed,
                                 const std::string& reason) const {
  const bool is_closed = deaf.IsClosed(endpoint);
  if (!observer || is_closed == was_closed) return;
  observer(endpoint, !is_closed, is_closed ? "deaf: " + reason : "");
}

void SnmpAgent::Impl::Reopen(const Endpoint& endpoint, const std::string& reason, Sign sign) {
  std::shared_ptr<UdpListener>& listener = listeners.at(endpoint);
  if (!listener->Check()) AnswerQueued(*listener, listener->QueueLimit());
  listener->Close();
  auto fresh = std::make_shared<UdpListener>(loop);
  const std::error_code error = OpenOne(endpoint, *fresh);
  if (error) {
    fresh->Close();
  } else {
    MarkOpened(endpoint, *fresh);
    Wait(fresh);
  }
  listener = std::move(fresh);
  suspects.erase(endpoint);
  Hurry();
  const bool was_closed = deaf.IsClosed(endpoint);
  Log(LOG_WARNING, deaf.Reopened(endpoint, reason, sign, error, DeafListeners::Clock::now()));
  TellClosed(endpoint, was_closed, error ? reason + "; " + error.message() : reason);
}

void SnmpAgent::Impl::ReopenClosed() {
  std::vector<std::pair<Endpoint, std::string>> closed;
  for (const auto& [endpoint, record] : deaf.OfListeners()) {
    if (record.is_closed) closed.emplace_back(endpoint, record.reason);
  }
  for (const auto& [endpoint, reason] : closed) Reopen(endpoint, reason, Sign::kSystem);
}

void SnmpAgent::Impl::MarkAgain() {
  const std::map<Endpoint, uint32_t> refused_marks = unmarked;
  for (const auto& [endpoint, mark] : refused_marks) Mark(endpoint, *listeners.at(endpoint), mark);
}

void SnmpAgent::Impl::FollowListeners() {
  if (runs == !listeners.empty()) return;
  runs = !listeners.empty();
  if (runs) {
    Pause();
    return;
  }
  round_alarm.Stop();
  own.Take();
  for (const std::string& record : refused.TakeAll()) Log(LOG_WARNING, record);
}

void SnmpAgent::Impl::After(std::chrono::milliseconds delay, void (Impl::*next)()) {
  round_alarm.After(delay, [this, next] {
    // What went wrong in this round may go well in the next.
    const bool is_done = RunEvent(
        "round of checks", [this, next] { (this->*next)(); }, LogFailure());
    if (!is_done) Pause();
  });
}

void SnmpAgent::Impl::Pause() {
  pauses = true;
  After(is_urgent ? times.patience : times.pause, &Impl::BeginRound);
}

void SnmpAgent::Impl::Hurry() {
  if (!std::exchange(is_urgent, true) && runs && pauses) Pause();
}

void SnmpAgent::Impl::BeginRound() {
  is_urgent = false;
  pauses = false;
  for (const std::string& record : refused.TakeDue(RefusedRequests::Clock::now())) {
    Log(LOG_WARNING, record);
  }
  ReopenClosed();
  MarkAgain();
  checked = {};
  CheckSome();
}

void SnmpAgent::Impl::CheckSome() {
  size_t count = 0;
  auto next = listeners.upper_bound(checked);
  for (; next != listeners.end() && count < kCheckedAtOnce; ++next, ++count) {
    checked = next->first;
    CheckOne(checked, *next->second);
  }
  if (next != listeners.end()) {
    After(std::chrono::milliseconds(0), &Impl::CheckSome);
    return;
  }
  AskSome();
  if (own.IsAsking()) {
    After(times.patience, &Impl::EndRound);
  } else {
    Pause();
  }
}

void SnmpAgent::Impl::CheckOne(const Endpoint& endpoint, UdpListener& listener) {
  const auto record = deaf.OfListeners().find(endpoint);
  if (record != deaf.OfListeners().end() && record->second.is_closed) return;
  if (const std::error_code error = listener.Check()) {
    Reopen(endpoint, "its descriptor is lost: " + error.message(), Sign::kSystem);
    return;
  }
  if (!listener.HasQueued()) {
    suspects.erase(endpoint);
    return;
  }
  const auto [suspect, is_new] = suspects.try_emplace(endpoint, listener.Received());
  if (!is_new && suspect->second == listener.Received()) {
    Reopen(endpoint, "requests wait and are not taken", Sign::kSystem);
    return;
  }
  suspect->second = listener.Received();
  Hurry();
}

void SnmpAgent::Impl::AskSome() {
  size_t count = 0;
  const size_t most = std::min(kAskedAtOnce, listeners.size());
  auto next = listeners.upper_bound(asked);
  for (size_t seen = 0; seen < listeners.size() && count < most; ++seen, ++next) {
    if (next == listeners.end()) next = listeners.begin();
    asked = next->first;
    if (IsWildcard(asked) && marks.count(asked.port) > 0) continue;
    own.Ask(asked, next->second->Received());
    ++count;
  }
}

void SnmpAgent::Impl::EndRound() {
  for (const auto& [endpoint, one] : own.Take()) {
    if (listeners.count(endpoint) > 0) Judge(endpoint, one);
  }
  Pause();
}

void SnmpAgent::Impl::Judge(const Endpoint& endpoint, const OwnRequests::Asked& asked_one) {
  if (asked_one.answered) {
    Log(LOG_WARNING, deaf.Hears(endpoint, Sign::kOwnRequest));
    return;
  }
  UdpListener& listener = *listeners.at(endpoint);
  if (deaf.IsUnheard(endpoint)) return;
  if (asked_one.has_come) {
    Reopen(endpoint, "a request of the daemon's own came and got no answer", Sign::kOwnRequest);
    return;
  }
  // One that is busy may have dropped it, one that was opened anew meanwhile has.
  if (listener.Received() != asked_one.received ||
      deaf.WasReopened(endpoint, DeafListeners::Clock::now(), 2 * times.patience)) {
    return;
  }
  if (listener.HasQueued()) {
    suspects.try_emplace(endpoint, listener.Received());
    Hurry();
    return;
  }
  Reopen(endpoint, "no answer to a request of the daemon's own", Sign::kOwnRequest);
}

}  // namespace host
