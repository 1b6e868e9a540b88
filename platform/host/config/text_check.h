// Whether a text that was printed says what the configuration is.
#pragma once

#include <libyang/libyang.h>

#include <string>

namespace host {

/// True when `text` is, in JSON (RFC 7951, metadata as RFC 7952 has it), exactly the explicit nodes
/// of `tree` in their order, and nothing else. libyang's printer leaves pieces out when memory runs
/// short, and says that it has succeeded; the text may be valid JSON all the same. Allocates
/// nothing of its own.
bool Tells(const std::string& text, const lyd_node* tree);

}  // namespace host
