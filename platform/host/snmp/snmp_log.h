// Where the agent and its library tell what happens.
#pragma once

#include <functional>
#include <string>

namespace host {

/// Told of one text of the agent's library, without a line end. `priority` is one of syslog's
/// (LOG_ERR, LOG_INFO ...). Called on the loop's thread; must not throw.
using SnmpLog = std::function<void(int priority, const std::string& text)>;

}  // namespace host
