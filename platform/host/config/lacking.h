// What of a configuration lacks something that the models want.
#pragma once

#include <libyang/libyang.h>

#include <string>

namespace host {

struct Lacking {
  const lyd_node* row = nullptr;  ///< What lacks it, null when it would stand at the top.
  std::string path;               ///< Of the row, or of the list or leaf-list that has too few.
};

/// The first place among `tree` and its siblings that lacks a mandatory element or choice, or has
/// too few entries. `schema_path` is what is wanted, as SchemaPathOf() has it. Nothing when no
/// place lacks it, or the models do not have it. Linear.
Lacking FindLacking(const ly_ctx* context, const lyd_node* tree, const std::string& schema_path);

}  // namespace host
