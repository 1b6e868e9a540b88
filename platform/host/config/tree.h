// Configurations: copies of them, their text and their validation.
#pragma once

#include <libyang/libyang.h>

#include <string>

#include "config/yang_data.h"

namespace host {

/// An independent copy of a configuration, defaults included.
Tree CopyTree(const lyd_node* tree);

/// Reads a configuration in JSON, strictly: nothing that the models do not know, nothing behind its
/// end. It is not validated yet and has no defaults. Throws Refusal that tells line or data path
/// and what is wrong there.
Tree ParseTree(ly_ctx* context, const std::string& text);

/// Adds the defaults of all models to `*tree`, and the containers that are always there, and checks
/// nothing. Throws Refusal when libyang cannot.
void AddDefaults(ly_ctx* context, Tree* tree);

/// Adds the defaults of all models to `*tree` and checks it against every constraint. Throws
/// Refusal that tells data path and reason, of what is missing the path of the first element that
/// lacks it;
/// `*tree` is then good for nothing but being freed.
void ValidateTree(ly_ctx* context, Tree* tree);

/// The explicit nodes of a configuration in JSON; defaults are left out.
std::string PrintTree(const lyd_node* tree);

}  // namespace host
