// Making XML, and data trees of it.
#pragma once

#include <libyang/libyang.h>

#include <cstdint>
#include <string>

#include "config/yang_data.h"
#include "runtime/time_text.h"

namespace host {

/// A text as it stands in an element or, quoted, in an attribute; characters that XML does not
/// have, and bytes that are no UTF-8, become question marks.
std::string EscapeXml(const std::string& text);

/// The same for an attribute (XML 1.0, 3.3.3) in which line ends and tabs are not to be read as
/// spaces.
std::string EscapeAttribute(const std::string& text);

// Elements. `name` is as it is to stand there, with a prefix where one is wanted.

/// With content that is XML already.
std::string Element(const std::string& name, const std::string& content);
std::string Element(const std::string& name, uint64_t number);

/// A leaf with any text; nothing for an empty one.
std::string Leaf(const std::string& name, const std::string& text);
std::string Leaf(const std::string& name, bool value);

/// A text without the blanks around it.
std::string Trimmed(const std::string& text);

/// Reads state data, which is not validated. The tree is the caller's, and `context`, which has the
/// models, outlives it. Throws Refusal for what the models do not have.
Tree ParseState(ly_ctx* context, const std::string& xml);

}  // namespace host
