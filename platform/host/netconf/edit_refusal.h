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

/// Throws RpcError for a key that its entry has twice; libyang has such keys one behind the other.
void RequireOneKey(const lyd_node* key);

}  // namespace host
