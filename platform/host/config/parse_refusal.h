// Why a text is no configuration, in our words.
#pragma once

#include <libyang/libyang.h>

#include <string>

#include "config/refusal.h"

namespace host {

/// What libyang has against a text in JSON that it was to read, which is forgotten then: line and
/// data path, then what is wrong there; of a value what is expected, of an unknown element which
/// one may have been meant. What is no JSON is told in libyang's words. Throws std::bad_alloc as
/// TakeRefusal().
Refusal TakeParseRefusal(ly_ctx* context);

/// "unknown element 'NAME'", and which one may have been meant of those in `parent` or, where that
/// is null, at the top of `module`.
std::string UnknownElement(const lysc_node* parent, const lys_module* module,
                           const std::string& name);

/// "no model has the namespace 'NAMESPACE'", and which one may have been meant.
std::string UnknownNamespace(const ly_ctx* context, const std::string& name);

}  // namespace host
