// What an executable wants done before its process is brought up.
#pragma once

#include <functional>

namespace host {

/// `check` may end the process. Set before main().
void SetStartCheck(std::function<void()> check);

/// Runs it; nothing happens when none is set.
void RunStartCheck();

}  // namespace host
