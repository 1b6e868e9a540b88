// Tables of text for people.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace show {

using Row = std::vector<std::string>;

/// Prints a title, column names and rows in columns that are as wide as they need; a row without
/// text is told as "none". Every row has as many cells as there are names.
void PrintTable(std::ostream& out, const std::string& title, const Row& names,
                const std::vector<Row>& rows);

}  // namespace show
