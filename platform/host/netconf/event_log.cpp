#include "netconf/event_log.h"

#include <array>
#include <cassert>
#include <cstdio>
#include <utility>

#include "netconf/xml.h"
#include "runtime/log.h"

namespace host {

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;

size_t SizeOf(const Event& event) {
  return sizeof event + event.module.size() + event.name.size() + event.xml.size();
}

}  // namespace

EventLog::EventLog(std::function<Clock::time_point()> now, size_t bytes)
    : now_(std::move(now)), most_bytes_(bytes), created_(Now()) {}

EventLog::Clock::time_point EventLog::Now() const {
  return std::chrono::floor<milliseconds>(now_());
}

void EventLog::Publish(const char* module, const char* name, const std::string& xml) noexcept {
  try {
    Add({Now(), module, name, xml});
    if (observer_) observer_();
  } catch (const std::exception& error) {
    HOST_LOG(kNotice, "Notification %s: %s", name, error.what());
  }
}

void EventLog::Add(Event event) {
  const size_t size = SizeOf(event);
  events_.push_back(std::move(event));
  bytes_ += size;
  while (events_.size() > kReplayedEvents + kEventsForSlow || bytes_ > most_bytes_) Forget();
}

void EventLog::Forget() {
  bytes_ -= SizeOf(events_.front());
  events_.pop_front();
  ++first_;
}

EventLog::Number EventLog::FirstReplayed() const {
  return events_.size() <= kReplayedEvents ? first_ : End() - kReplayedEvents;
}

const Event& EventLog::At(Number number) const {
  assert(number >= First() && number < End());
  return events_[static_cast<size_t>(number - first_)];
}

std::string EventTimeText(EventLog::Clock::time_point time) {
  const auto whole = std::chrono::floor<seconds>(time);
  std::array<char, 8> fraction = {};
  snprintf(fraction.data(), fraction.size(), ".%03d",
           static_cast<int>(duration_cast<milliseconds>(time - whole).count()));
  std::string text = TimeText(whole);
  return text.insert(text.size() - 1, fraction.data());
}

std::string NotificationXml(EventLog::Clock::time_point time, const std::string& element) {
  return R"(<notification xmlns="urn:ietf:params:xml:ns:netconf:notification:1.0">)" +
         Element("eventTime", EventTimeText(time)) + element + "</notification>";
}

}  // namespace host
