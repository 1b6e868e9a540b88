#include "framework/told_events.h"

#include <boost/asio/post.hpp>
#include <cstring>
#include <exception>
#include <utility>

#include "netconf/xml.h"
#include "runtime/log.h"

namespace host {

namespace {

constexpr char kModule[] = "snmp-app-events";

void LogLoss(const std::string& reason) {
  HOST_LOG(kNotice, "A notification is lost: %s", reason.c_str());
}

}  // namespace

std::string RoleText(HaRole role) {
  switch (role) {
    case HaRole::kActive:
      return "active";
    case HaRole::kStandby:
      return "standby";
    default:
      return "unknown";
  }
}

ToldEvents::ToldEvents(boost::asio::io_context& loop, EventLog* events)
    : loop_(loop), events_(events), publishing_("notifications", LogLoss) {}

void ToldEvents::NoteListener(const Endpoint& listener, bool bound,
                              const std::string& reason) noexcept {
  Add(bound ? "listeners-bound" : "listeners-unbound", true, [&] {
    return Element("listener", Leaf("endpoint", ToText(listener)) + Leaf("reason", reason));
  });
}

void ToldEvents::NoteRule(const RuleOutcome& outcome) noexcept {
  Add(outcome.reason.empty() ? "rules-healed" : "rules-refused", true, [&] {
    return Element("rule", Leaf("kind", std::string(outcome.kind)) +
                               Leaf("subject", outcome.subject) + Leaf("reason", outcome.reason));
  });
}

void ToldEvents::NoteRole(HaRole role) noexcept {
  Add("role-changed", false, [&] { return Leaf("ha-role", RoleText(role)); });
}

void ToldEvents::NoteFault(const Fault& fault) noexcept {
  Add("fault-raised", false,
      [&] { return Leaf("code", std::to_string(fault.code)) + Leaf("text", fault.text); });
}

template <typename Content>
void ToldEvents::Add(const char* event, bool is_entry, const Content& content) noexcept {
  try {
    notes_.push_back({event, content(), is_entry});
    if (is_scheduled_) return;
    boost::asio::post(loop_, publishing_.Begin([this] { Publish(); }));
    is_scheduled_ = true;
  } catch (const std::exception& error) {
    LogLoss(error.what());
  }
}

void ToldEvents::Publish() {
  is_scheduled_ = false;
  const std::vector<Note> notes = std::exchange(notes_, {});
  for (size_t begin = 0; begin < notes.size();) {
    const Note& first = notes[begin];
    std::string content;
    size_t end = begin;
    do {
      content += notes[end++].content;
    } while (first.is_entry && end < notes.size() && end - begin < kMostTogether &&
             strcmp(notes[end].event, first.event) == 0);
    events_->Publish(kModule, first.event,
                     std::string("<") + first.event + " xmlns=\"urn:snmp-app:events\">" + content +
                         "</" + first.event + ">");
    begin = end;
  }
}

}  // namespace host
