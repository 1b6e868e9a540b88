// What is wrong with an element of an edit.
#pragma once

#include <libyang/libyang.h>

namespace host {

/// The models' element that an element of an edit names, or null; `edit` is one that libyang could
/// not take as one of the models, `parent` what it stands in, null at the top.
const lysc_node* SchemaOf(const ly_ctx* context, const lyd_node* edit, const lyd_node* parent);

/// Throws the RpcError that tells what is wrong with such an element.
[[noreturn]] void RefuseOpaque(ly_ctx* context, const lyd_node* edit, const lyd_node* parent);

/// Throws RpcError for an element that is not part of configurations: state, requests.
void RequireConfiguration(const lyd_node* edit);

/// Throws RpcError for a leaf that stands twice in one place; libyang has two of the same one
/// behind the other. A container may stand there twice, as all that its elements ask for can be
/// done.
void RequireOnce(const lyd_node* edit);

/// The same for a leaf that libyang could not take as one of the models: those are behind all
/// others.
void RequireAlone(const lyd_node* edit, const lysc_node* leaf);

}  // namespace host
