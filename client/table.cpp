#include "table.h"

#include <algorithm>

namespace show {

namespace {

void PrintRow(std::ostream& out, const Row& row, const std::vector<size_t>& widths) {
  std::string line = " ";
  for (size_t i = 0; i < row.size(); ++i) {
    line += ' ' + row[i] + std::string(widths[i] - row[i].size(), ' ') + ' ';
  }
  out << line.substr(0, line.find_last_not_of(' ') + 1) << '\n';
}

}  // namespace

void PrintTable(std::ostream& out, const std::string& title, const Row& names,
                const std::vector<Row>& rows) {
  out << title << '\n';
  if (rows.empty()) {
    out << "  none\n";
    return;
  }
  std::vector<size_t> widths;
  for (size_t i = 0; i < names.size(); ++i) {
    size_t width = names[i].size();
    for (const Row& row : rows) width = std::max(width, row[i].size());
    widths.push_back(width);
  }
  PrintRow(out, names, widths);
  for (const Row& row : rows) PrintRow(out, row, widths);
}

}  // namespace show
