// Times as operators read them.
#pragma once

#include <chrono>
#include <string>

namespace host {

/// As ietf-yang-types (RFC 6991) has date-and-time, in UTC and whole seconds.
std::string TimeText(std::chrono::system_clock::time_point time);

}  // namespace host
