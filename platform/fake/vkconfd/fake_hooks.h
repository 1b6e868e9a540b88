// The calls of the callpoints within a transaction.
#pragma once

#include <vector>

#include "confd/fake_confd.h"
#include "vkconfd/data_handler.h"

namespace fake {

/// Calls the callpoints for every difference between `before` and the candidate of `transaction`:
/// removed entries, created ones with their leaves, then leaves of other entries. What a callback
/// writes below a callpoint is told right behind it. Without such a difference nothing is called,
/// else the handlers are told of the beginning before and of the end after, those that have begun
/// in reverse order. Returns CONFD_OK, or what the first callback returned that refused.
int CallHooks(const Database& before, Transaction* transaction,
              const std::vector<vkconfd::DataHandler*>& handlers);

}  // namespace fake
