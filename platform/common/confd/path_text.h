// The text of ConfD paths: "/mod:a/b{key}/c" or "/a/b[index]/c".
#pragma once

#include <cstdarg>
#include <optional>
#include <string>
#include <vector>

namespace common {

/// One level of a path: an element, and for a list or leaf-list the entry that is meant.
struct PathStep {
  std::string prefix;  ///< Module prefix or name; empty when the text has none.
  std::string name;
  std::vector<std::string> keys;  ///< Separated by blanks in the text; empty without braces.
  std::optional<int> index;       ///< Position in the list, from 0.
};

bool operator==(const PathStep& a, const PathStep& b);

/// Makes a path of a ConfD format and its arguments: the conversions of printf, and %x for a
/// `const confd_value_t*` whose text stands for a key.
std::string FormatPath(const char* format, va_list arguments);

/// Splits a path's text. A key may hold any character but blanks and braces.
/// Throws std::invalid_argument that tells what is wrong and where.
std::vector<PathStep> ParsePath(const std::string& text);

}  // namespace common
