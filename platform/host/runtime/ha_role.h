// The node's role in a pair, as the process was told.
#pragma once

namespace host {

enum class HaRole { kUnknown, kActive, kStandby };

HaRole CurrentHaRole();

}  // namespace host
