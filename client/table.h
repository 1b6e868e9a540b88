// Tables of text for people.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace show {

/// What a text is to whoever reads it, which colours tell on a terminal.
enum class Tone { kPlain, kTitle, kGood, kBad, kFaint };

struct Cell {
  std::string text;
  Tone tone = Tone::kPlain;
};

using Row = std::vector<Cell>;

/// Stands where there is nothing to tell.
extern const char kNothing[];

/// Where to print, and whether in colours (ECMA-48, 8.3.117).
struct Output {
  std::ostream& stream;
  bool has_colours = false;
};

/// A text of that tone.
void PrintToned(const Output& out, const std::string& text, Tone tone);

/// Prints a title, column names and rows in columns that are as wide as they need; a row without
/// text is told as "none". Every row has as many cells as there are names.
void PrintTable(const Output& out, const std::string& title, const std::vector<std::string>& names,
                const std::vector<Row>& rows);

}  // namespace show
