// A configuration as the host's start-up file has it.
#pragma once

#include <string>

#include "platform_under_test.h"

namespace contract {

std::string StartupJson(const Configuration& configuration);

}  // namespace contract
