// What a commit changes.
#pragma once

#include <vector>

#include "confd/fake_database.h"
#include "delivery/change.h"

namespace fake {

/// The changes from `before` to `after`: leaves as value-set or deleted, a leaf-list as one
/// value-set of the whole list, list entries as created, deleted or modified, and the containers
/// above them. Key leaves are not among them, nor is anything below a deleted entry. The database
/// knows no modules, so the changes carry namespace 0.
std::vector<common::Change> Differences(const Database& before, const Database& after);

}  // namespace fake
