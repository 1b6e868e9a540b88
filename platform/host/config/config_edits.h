// What a commit changed, by paths that other programs can follow.
#pragma once

#include <string>
#include <vector>

#include "config/schema.h"
#include "delivery/change.h"

namespace host {

/// A change at one element.
struct ConfigEdit {
  std::string path;       ///< As libyang has data paths.
  const char* operation;  ///< As RFC 6241, 7.2, has them: create, delete, replace or merge.
};

/// More of them are told as one for each element at the top.
constexpr size_t kMostEdits = 64;

/// The changes, each at its topmost element: of what came and went as a whole only the top. No
/// value is in it. What has no path of its own, a leaf-list as one value, and rows whose keys are
/// secrets, are told as a merge of what they stand in. `changes` are of `schema`.
std::vector<ConfigEdit> EditsOf(const Schema& schema, const std::vector<common::Change>& changes);

}  // namespace host
