// Data trees: owning them, their text and their validation.
#pragma once

#include <libyang/libyang.h>

#include <memory>
#include <string>

namespace host {

struct FreeSiblings {
  void operator()(lyd_node* node) const { lyd_free_all(node); }
};

/// Owns the first top-level node of a configuration and with it all the others; null is a
/// configuration without any node. Its schema must outlive it.
using Tree = std::unique_ptr<lyd_node, FreeSiblings>;

/// A configuration that several readers share and nobody changes any more.
using SharedTree = std::shared_ptr<const lyd_node>;

/// An independent copy of a configuration, defaults included.
Tree CopyTree(const lyd_node* tree);

/// Reads a configuration in JSON, strictly: nothing that the models do not know, nothing behind its
/// end. It is not validated yet and has no defaults. Throws std::runtime_error that tells line or
/// data path and what is wrong there.
Tree ParseTree(ly_ctx* context, const std::string& text);

/// Adds the defaults of all models to `*tree`, and the containers that are always there, and checks
/// nothing. Throws std::runtime_error when libyang cannot.
void AddDefaults(ly_ctx* context, Tree* tree);

/// Adds the defaults of all models to `*tree` and checks it against every constraint. Throws
/// std::runtime_error that tells data path and reason; `*tree` is then good for nothing but being
/// freed.
void ValidateTree(ly_ctx* context, Tree* tree);

/// The explicit nodes of a configuration in JSON; defaults are left out.
std::string PrintTree(const lyd_node* tree);

/// What libyang has to say about the last failed call on `context`, as "reason (place)" for each
/// of its errors; forgets them. Never empty.
std::string TakeErrors(ly_ctx* context);

}  // namespace host
