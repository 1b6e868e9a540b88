// The event loop that everything in the process runs on.
#pragma once

#include <boost/asio/io_context.hpp>
#include <functional>
#include <string>

namespace host {

/// The one loop. It belongs to the thread that runs it.
boost::asio::io_context& Loop();

/// Runs one event to its end. An exception that leaves it becomes a fault that names `what`; the
/// loop goes on.
void RunEvent(const std::string& what, const std::function<void()>& event);

/// What is called when the process is told to read its start-up configuration again.
void SetReload(std::function<void()> reload);

/// Calls it; nothing happens when none is set.
void Reload();

}  // namespace host
