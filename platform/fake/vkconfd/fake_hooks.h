// The calls of the callpoints within a transaction.
#pragma once

#include <vector>

#include "confd/fake_confd.h"
#include "vkconfd/data_handler.h"

namespace fake {

/// Calls the callpoints for every difference between `before` and the candidate of `transaction`,
/// and then for what they wrote below a callpoint themselves. Returns CONFD_OK, or what the first
/// callback returned that refused.
int CallHooks(const Database& before, Transaction* transaction,
              const std::vector<vkconfd::DataHandler*>& handlers);

}  // namespace fake
