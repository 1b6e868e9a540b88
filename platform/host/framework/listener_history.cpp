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

/// Takes down an attempt; `reason` is empty for one that succeeded.
void Update(const Endpoint& endpoint, const std::string& reason, ListenerRecord& record) {
  const bool is_new = record.tries == 0;
  const bool bound = reason.empty();
  // One that was open was not opened anew.
  if (!record.bound) ++record.tries;
  if (is_new || bound != record.bound) {
    record.since = std::chrono::system_clock::now();
    if (!bound || !is_new) Tell(endpoint, reason);
  }
  if (!bound) record.last_error = reason;
  record.bound = bound;
}

std::string ReasonOf(const Endpoint& endpoint, const Reasons& reasons) {
  const auto failed = reasons.find(endpoint);
  return failed == reasons.end() ? "" : failed->second;
}

}  // namespace

void ListenerHistory::Note(const std::set<Endpoint>& wanted,
                           const std::vector<ListenerFailure>& failures) {
  ++rebinds_;
  const Reasons reasons = ReasonsOf(failures);
  std::map<Endpoint, ListenerRecord> records;
  for (const Endpoint& endpoint : Normalized(wanted)) {
    const auto before = records_.find(endpoint);
    ListenerRecord record = before == records_.end() ? ListenerRecord() : std::move(before->second);
    Update(endpoint, ReasonOf(endpoint, reasons), record);
    records.emplace_hint(records.end(), endpoint, std::move(record));
  }
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
