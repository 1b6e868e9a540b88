// What the daemon's own work has operators be told (the model snmp-app-events).
#pragma once

#include <boost/asio/io_context.hpp>
#include <string>
#include <vector>

#include "netconf/event_log.h"
#include "rules/rules.h"
#include "runtime/faults.h"
#include "runtime/ha_role.h"
#include "runtime/waiting.h"
#include "snmp/endpoint.h"

namespace host {

/// Hears of it in the middle of that work and publishes it from the loop: what follows each other
/// and is of one kind is one event with up to kMostTogether entries, since a commit may open or
/// lose thousands of listeners. What there is no memory for is lost, which is logged.
class ToldEvents {
 public:
  static constexpr size_t kMostTogether = 64;

  /// Both outlive the object.
  ToldEvents(boost::asio::io_context& loop, EventLog* events);

  ToldEvents(const ToldEvents&) = delete;
  ToldEvents& operator=(const ToldEvents&) = delete;

  void NoteListener(const Endpoint& listener, bool bound, const std::string& reason) noexcept;
  void NoteRule(const RuleOutcome& outcome) noexcept;
  void NoteRole(HaRole role) noexcept;
  void NoteFault(const Fault& fault) noexcept;

 private:
  /// A part of an event.
  struct Note {
    const char* event;
    std::string content;
    bool is_entry;  ///< Others of its kind may stand beside it.
  };

  template <typename Content>
  void Add(const char* event, bool is_entry, const Content& content) noexcept;
  void Publish();

  boost::asio::io_context& loop_;
  EventLog* events_;
  std::vector<Note> notes_;
  bool is_scheduled_ = false;
  Waiting publishing_;
};

/// As the models have roles.
std::string RoleText(HaRole role);

}  // namespace host
