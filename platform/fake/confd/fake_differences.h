// What a commit changes.
#pragma once

#include <string>
#include <vector>

#include "confd/fake_database.h"
#include "delivery/change.h"

namespace fake {

/// The changes from `before` to `after`: leaves as value-set or deleted, a leaf-list as one
/// value-set of the whole list, list entries as created, deleted or modified, and the containers
/// above them. Key leaves are not among them, nor is anything below a deleted entry. The database
/// knows no modules, so the changes carry namespace 0.
std::vector<common::Change> Differences(const Database& before, const Database& after);

/// The change `op` of the one element at `path`, which is there, within what it stands in. Empty
/// when it is no element of its own, as an entry of a leaf-list.
std::vector<common::Change> ChangeAt(const Database& database, const std::string& path,
                                     confd_iter_op op);

}  // namespace fake
