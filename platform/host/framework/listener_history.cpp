#include "framework/listener_history.h"

#include <utility>

namespace host {

void ListenerHistory::Note(const std::set<Endpoint>& wanted,
                           const std::vector<ListenerFailure>& failures) {
  ++rebinds_;
  std::map<Endpoint, std::string> reasons;
  for (const ListenerFailure& failure : failures) reasons[failure.endpoint] = failure.reason;
  const auto now = std::chrono::system_clock::now();
  std::map<Endpoint, ListenerRecord> records;
  for (const Endpoint& endpoint : Normalized(wanted)) {
    const auto before = records_.find(endpoint);
    const bool is_new = before == records_.end();
    ListenerRecord record = is_new ? ListenerRecord() : std::move(before->second);
    const auto failed = reasons.find(endpoint);
    const bool bound = failed == reasons.end();
    // One that was open was not opened anew.
    if (!record.bound) ++record.tries;
    if (is_new || bound != record.bound) record.since = now;
    if (!bound) record.last_error = failed->second;
    record.bound = bound;
    records.emplace_hint(records.end(), endpoint, std::move(record));
  }
  records_.swap(records);
}

const ListenerRecord* ListenerHistory::Find(const Endpoint& endpoint) const {
  const auto found = records_.find(endpoint);
  return found == records_.end() ? nullptr : &found->second;
}

}  // namespace host
