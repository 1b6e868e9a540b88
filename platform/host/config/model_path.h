// Paths to what the models have.
#pragma once

#include <string>
#include <vector>

#include "confd/path_text.h"
#include "confd_lib.h"
#include "config/schema.h"

namespace host {

/// A path that was parsed, with the elements that its steps name.
struct ModelPath {
  std::string text;  ///< For people.
  std::vector<common::PathStep> steps;
  SchemaPath elements;  ///< As many.

  const lysc_node* Element() const { return elements.back(); }

  /// Whether the last step has a key or an index.
  bool NamesEntry() const { return !steps.back().keys.empty() || steps.back().index.has_value(); }
};

/// Throws std::invalid_argument with the text and the reason for one that is no path of the schema.
ModelPath ParseModelPath(const Schema& schema, const std::string& text);

/// The same of a path as callbacks get it.
ModelPath ModelPathOf(const Schema& schema, const confd_hkeypath_t& path);

/// The path as libyang has it. Throws std::invalid_argument for one with a position, and
/// CallRefused with CONFD_ERR_BADTYPE for a key with both kinds of quotes, which libyang cannot
/// look up.
std::string DataPath(const ModelPath& path);

}  // namespace host
