// What stands behind the rule library's calls.
#pragma once

#include "rules/rules.h"

namespace host {

/// The rules that the library's calls change from now on; they stay the caller's. Null for none:
/// the calls are then refused.
void ServeRules(Rules* rules);

}  // namespace host
