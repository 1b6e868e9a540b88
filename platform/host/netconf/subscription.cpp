#include "netconf/subscription.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace host {

namespace {

constexpr char kReplayComplete[] =
    R"(<replayComplete xmlns="urn:ietf:params:xml:ns:netmod:notification"/>)";
constexpr char kNotificationComplete[] =
    R"(<notificationComplete xmlns="urn:ietf:params:xml:ns:netmod:notification"/>)";

}  // namespace

Subscription::Subscription(const EventLog* log, EventFilter filter, const EventWindow& window)
    : log_(log),
      filter_(std::move(filter)),
      window_(window),
      next_(window.start ? log->FirstReplayed() : log->End()),
      replay_end_(log->End()),
      replay_told_(!window.start) {}

std::vector<std::string> Subscription::Take(const EventAccess& may_read) {
  // What comes meanwhile is of a later time.
  const bool is_over = IsOver();
  const std::vector<const Event*> events = NextEvents();
  const std::vector<bool> selected = filter_.Select(events);
  std::vector<std::string> messages;
  for (size_t i = 0; i < events.size(); ++i) {
    const Event& event = *events[i];
    if (!selected[i] || (may_read && !may_read(event))) continue;
    messages.push_back(NotificationXml(event.time, event.xml));
  }
  if (IsReplayed()) {
    messages.push_back(NotificationXml(log_->Now(), kReplayComplete));
    replay_told_ = true;
  }
  if (is_over && next_ == log_->End()) {
    messages.push_back(NotificationXml(log_->Now(), kNotificationComplete));
    ended_ = true;
  }
  return messages;
}

/// Some of those that come next, as far as they are of the times asked for. A replay's mark comes
/// between the last that is replayed and the first that is not.
std::vector<const Event*> Subscription::NextEvents() {
  if (next_ < log_->First()) {
    throw std::runtime_error(std::to_string(log_->First() - next_) +
                             " events are gone that the client has not taken in time");
  }
  const EventLog::Number end = replay_told_ ? log_->End() : replay_end_;
  const EventLog::Number stop = std::min<EventLog::Number>(end, next_ + kAtOnce);
  std::vector<const Event*> events;
  for (; next_ < stop; ++next_) {
    const Event& event = log_->At(next_);
    if (IsWithin(event)) events.push_back(&event);
  }
  return events;
}

bool Subscription::IsWithin(const Event& event) const {
  return (!window_.start || event.time >= *window_.start) &&
         (!window_.stop || event.time <= *window_.stop);
}

}  // namespace host
