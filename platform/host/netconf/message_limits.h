// What a message may have, so that no library takes seconds to read it.
#pragma once

#include <cstddef>
#include <string>

namespace host {

/// libyang takes time that grows with the square of an element's unknown children. Thousands of
/// interfaces and targets are far below.
constexpr size_t kMostChildren = 10000;
constexpr size_t kMostElements = 100000;

/// libxml2 takes time that grows with the square of an element's attributes.
constexpr size_t kMostAttributes = 256;

/// Whether some element of a text that is to be XML has more attributes than it may. Looks at the
/// text alone, since a parser has done its work when it tells.
bool HasTooManyAttributes(const std::string& text);

}  // namespace host
