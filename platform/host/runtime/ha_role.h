// The node's role in a pair.
#pragma once

namespace host {

/// As the process was told.
enum class HaRole { kUnknown, kActive, kStandby };

}  // namespace host
