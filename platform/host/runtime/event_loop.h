// What runs on an event loop.
#pragma once

#include <functional>
#include <string>

namespace host {

/// Runs one event to its end. An exception that leaves it becomes a fault that names `what`; the
/// loop goes on.
void RunEvent(const std::string& what, const std::function<void()>& event);

}  // namespace host
