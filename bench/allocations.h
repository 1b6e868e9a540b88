// Counts the program's allocations.
#pragma once

#include <cstddef>

/// How often memory was asked for since the start of the process.
size_t Allocations();
