#include "table.h"

#include <algorithm>

namespace show {

namespace {

const char* ColourOf(Tone tone) {
  switch (tone) {
    case Tone::kTitle:
      return "1";
    case Tone::kGood:
      return "32";
    case Tone::kBad:
      return "31";
    case Tone::kFaint:
      return "2";
    default:
      return nullptr;
  }
}

/// In characters: each byte of UTF-8 but those that go on with one.
size_t WidthOf(const std::string& text) {
  return static_cast<size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

void PrintRow(const Output& out, const Row& row, const std::vector<size_t>& widths) {
  size_t gap = 2;
  for (size_t i = 0; i < row.size(); ++i) {
    // No blanks at the end of a line.
    out.stream << std::string(gap, ' ');
    PrintToned(out, row[i].text, row[i].tone);
    gap = widths[i] - WidthOf(row[i].text) + 2;
  }
  out.stream << '\n';
}

}  // namespace

const char kNothing[] = "—";

void PrintToned(const Output& out, const std::string& text, Tone tone) {
  const char* colour = out.has_colours ? ColourOf(tone) : nullptr;
  if (colour == nullptr) {
    out.stream << text;
  } else {
    out.stream << "\x1b[" << colour << 'm' << text << "\x1b[0m";
  }
}

void PrintTable(const Output& out, const std::string& title, const std::vector<std::string>& names,
                const std::vector<Row>& rows) {
  PrintToned(out, title, Tone::kTitle);
  out.stream << '\n';
  if (rows.empty()) {
    out.stream << "  none\n";
    return;
  }
  Row header;
  std::vector<size_t> widths;
  for (size_t i = 0; i < names.size(); ++i) {
    size_t width = WidthOf(names[i]);
    for (const Row& row : rows) width = std::max(width, WidthOf(row[i].text));
    widths.push_back(width);
    header.push_back({names[i], Tone::kFaint});
  }
  PrintRow(out, header, widths);
  for (const Row& row : rows) PrintRow(out, row, widths);
}

}  // namespace show
