// A configuration to read, in place of the engine's.
#pragma once

#include <map>
#include <string>

namespace host::test {

/// The one socket that can be read.
constexpr int kSocket = 7;

/// Leaves as text, by path.
std::map<std::string, std::string>& Leaves();

}  // namespace host::test
