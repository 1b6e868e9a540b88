#include "framework/listener_history.h"

#include <utility>

#include "runtime/log.h"

namespace host {

namespace {

using Reasons = std::map<Endpoint, std::string>;

Reasons ReasonsOf(const std::vector<ListenerFailure>& failures) {
  Reasons reasons;
  for (const ListenerFailure& failure : failures) reasons[failure.endpoint] = failure.reason;
  return reasons;
}

void Tell(const Endpoint& endpoint, const std::string& reason) {
  if (reason.empty()) {
    HOST_LOG(kNotice, "%s: opened.", ToText(endpoint).c_str());
    return;
  }
  HOST_LOG(kNotice, "%s: not opened, and tried again until it is: %s", ToText(endpoint).c_str(),
           reason.c_str());
}

std::string ReasonOf(const Endpoint& endpoint, const Reasons& reasons) {
  const auto failed = reasons.find(endpoint);
  return failed == reasons.end() ? "" : failed->second;
}

}  // namespace

/// Takes down an attempt; `reason` is empty for one that succeeded.
void ListenerHistory::Update(const Endpoint& endpoint, const std::string& reason,
                             ListenerRecord& record) const {
  const bool is_new = record.tries == 0;
  const bool bound = reason.empty();
  // One that was open was not opened anew.
  if (!record.bound) ++record.tries;
  if (is_new || bound != record.bound) {
    record.since = std::chrono::system_clock::now();
    if (!bound || !is_new) Tell(endpoint, reason);
    if (observer_) observer_(endpoint, bound, reason);
  }
  if (!bound) record.last_error = reason;
  record.bound = bound;
}

void ListenerHistory::TellGone(const std::map<Endpoint, ListenerRecord>& gone,
                               const char* reason) const {
  if (!observer_) return;
  for (const auto& [endpoint, record] : gone) {
    if (record.bound) observer_(endpoint, false, reason);
  }
}

void ListenerHistory::Clear(const char* reason) {
  TellGone(records_, reason);
  records_.clear();
}

void ListenerHistory::Note(const std::set<Endpoint>& wanted,
                           const std::vector<ListenerFailure>& failures) {
  ++rebinds_;
  const Reasons reasons = ReasonsOf(failures);
  std::map<Endpoint, ListenerRecord> records;
  for (const Endpoint& endpoint : Normalized(wanted)) {
    const auto before = records_.extract(endpoint);
    ListenerRecord record = before.empty() ? ListenerRecord() : std::move(before.mapped());
    Update(endpoint, ReasonOf(endpoint, reasons), record);
    records.emplace_hint(records.end(), endpoint, std::move(record));
  }
  TellGone(records_, "not configured any more");
  records_.swap(records);
}

void ListenerHistory::NoteRetry(const std::set<Endpoint>& tried,
                                const std::vector<ListenerFailure>& failures) {
  const Reasons reasons = ReasonsOf(failures);
  for (const Endpoint& endpoint : tried) {
    const auto record = records_.find(endpoint);
    if (record != records_.end()) Update(endpoint, ReasonOf(endpoint, reasons), record->second);
  }
}

std::set<Endpoint> ListenerHistory::Refused() const {
  std::set<Endpoint> refused;
  for (const auto& [endpoint, record] : records_) {
    if (!record.bound) refused.insert(endpoint);
  }
  return refused;
}

const ListenerRecord* ListenerHistory::Find(const Endpoint& endpoint) const {
  const auto found = records_.find(endpoint);
  return found == records_.end() ? nullptr : &found->second;
}

}  // namespace host
