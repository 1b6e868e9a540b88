// What runs on an event loop.
#pragma once

#include <functional>
#include <string>

namespace host {

/// Told of an exception that left an event: what ran, and the reason.
using OnFailure = std::function<void(const std::string& text)>;

/// A fault of the process; it goes on.
void RaiseFault(const std::string& text);

/// The same as the process's last: it ends with status 1, and a service manager starts it anew.
[[noreturn]] void EndWithFault(const std::string& text);

/// What RunEvent() does, for an event that needs no memory to be handed over.
bool RunReferred(const char* what, const std::function<void()>& event, const OnFailure& on_failure);

/// Runs one event to its end. An exception that leaves it is told to `on_failure` with `what` in
/// front, and the loop goes on; without `on_failure` it passes. What `on_failure` throws is lost.
/// False when an exception left the event. Needs no memory of its own until then.
template <typename Event>
bool RunEvent(const char* what, const Event& event, const OnFailure& on_failure = RaiseFault) {
  // A copy of the event may need memory, and what that throws would leave no trace but a dead loop.
  return RunReferred(what, std::cref(event), on_failure);
}

}  // namespace host
