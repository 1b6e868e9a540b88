// What one session is told of what happens (RFC 5277, 2.1).
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "netconf/event_filter.h"
#include "netconf/event_log.h"

namespace host {

/// Whether somebody may read an event.
using EventAccess = std::function<bool(const Event& event)>;

/// The times of the events that are asked for, both included.
struct EventWindow {
  std::optional<EventLog::Clock::time_point> start;  ///< Of a replay; none for events of now on.
  std::optional<EventLog::Clock::time_point> stop;   ///< None for no end. Needs a start.
};

/// Holds a place in the log and no events, so a slow session costs no memory.
class Subscription {
 public:
  /// How many events one Take() looks at.
  static constexpr size_t kAtOnce = 32;

  /// Begins behind the events that `log`, which outlives the object, has now; with a start among
  /// those that may be replayed.
  Subscription(const EventLog* log, EventFilter filter, const EventWindow& window);

  /// What is to be sent next, each a message without framing; the marks of the end of a replay and
  /// of all are among them. Looks at some events only: there may be more when it is empty. Of what
  /// `may_read`, empty for all, is against nothing is told. Throws std::runtime_error when events
  /// have gone that were to be sent, and what the filter throws; the subscription is to end then.
  std::vector<std::string> Take(const EventAccess& may_read);

  /// Whether Take() has more to look at now.
  bool HasMore() const { return next_ < log_->End() || IsReplayed() || IsOver(); }

  /// Nothing is to be sent any more.
  bool HasEnded() const { return ended_; }

  const std::optional<EventLog::Clock::time_point>& Stop() const { return window_.stop; }

 private:
  std::vector<const Event*> NextEvents();
  bool IsReplayed() const { return !replay_told_ && next_ >= replay_end_; }
  bool IsOver() const { return window_.stop && log_->Now() >= *window_.stop; }
  bool IsWithin(const Event& event) const;

  const EventLog* log_;
  EventFilter filter_;
  EventWindow window_;
  EventLog::Number next_;
  EventLog::Number replay_end_;
  bool replay_told_;
  bool ended_ = false;
};

}  // namespace host
