// What has happened, for sessions that are to be told (RFC 5277).
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>

namespace host {

/// One notification, printed.
struct Event {
  std::chrono::system_clock::time_point time;  ///< In whole milliseconds, as it is told.
  std::string module;                          ///< The model's and the notification's names.
  std::string name;
  std::string xml;  ///< The element, without the envelope.
};

/// How many of the last events a subscription may begin with.
constexpr size_t kReplayedEvents = 1000;

/// How many are kept beyond those for subscribers that are slow.
constexpr size_t kEventsForSlow = 256;

/// Of one thread. Keeps the last events by number; each costs a copy of its text, whoever listens.
class EventLog {
 public:
  using Clock = std::chrono::system_clock;

  /// Events are numbered in the order in which they came.
  using Number = uint64_t;

  /// Keeps the texts of events as long as all of them have no more than `bytes`. `now` tells the
  /// time.
  explicit EventLog(std::function<Clock::time_point()> now = Clock::now,
                    size_t bytes = size_t{2} * 1024 * 1024);

  EventLog(const EventLog&) = delete;
  EventLog& operator=(const EventLog&) = delete;

  /// Adds an event of now, and tells the observer. An element that there is no memory for is lost,
  /// which is logged; nothing is thrown.
  void Publish(const char* module, const char* name, const std::string& xml) noexcept;

  /// The number of the oldest event that is kept, and of the next one that will come.
  Number First() const { return first_; }
  Number End() const { return first_ + events_.size(); }

  /// The first of the last kReplayedEvents.
  Number FirstReplayed() const;

  /// A number from First() to the one before End() (asserted). Stays the log's, until the next
  /// event.
  const Event& At(Number number) const;

  /// When this log began.
  Clock::time_point Created() const { return created_; }

  /// In whole milliseconds, as events have it.
  Clock::time_point Now() const;

  /// Called after each event, in whose Publish() it must not publish another one; empty for none.
  void SetObserver(std::function<void()> observer) { observer_ = std::move(observer); }

 private:
  void Add(Event event);
  void Forget();

  std::function<Clock::time_point()> now_;
  size_t most_bytes_;
  Clock::time_point created_;
  std::deque<Event> events_;
  Number first_ = 0;
  size_t bytes_ = 0;
  std::function<void()> observer_;
};

/// A notification as it is sent (RFC 5277, 4), with a time in milliseconds.
std::string NotificationXml(EventLog::Clock::time_point time, const std::string& element);

/// As ietf-yang-types has date-and-time, in UTC and milliseconds.
std::string EventTimeText(EventLog::Clock::time_point time);

}  // namespace host
