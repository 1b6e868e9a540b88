// Which model a <get-schema> asks for (RFC 6022, section 3.1).
#pragma once

#include <libyang/libyang.h>

#include <string>

namespace host {

/// The model with this name and, unless `version` is null, this revision, empty for none. `format`
/// is its identity's value, empty for YANG. Throws RpcError: invalid-value when there is no such
/// model, or not in that format; operation-failed, data-not-unique, when several are meant.
const lys_module* FindSchema(const ly_ctx* context, const std::string& name,
                             const lyd_node* version, const std::string& format);

}  // namespace host
