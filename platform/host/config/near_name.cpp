#include "config/near_name.h"

#include <algorithm>
#include <cctype>

namespace host {

namespace {

/// More is another word.
constexpr size_t kMostSlips = 3;

bool IsSameLetter(char a, char b) {
  return tolower(static_cast<unsigned char>(a)) == tolower(static_cast<unsigned char>(b));
}

/// How many letters must be put in, taken out, replaced or swapped with the next one to make `b` of
/// `a`, each letter once: table[i][j] is of their first i and j letters.
size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::vector<size_t>> table(a.size() + 1, std::vector<size_t>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i) table[i][0] = i;
  for (size_t j = 0; j <= b.size(); ++j) table[0][j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = table[i - 1][j - 1] + (IsSameLetter(a[i - 1], b[j - 1]) ? 0 : 1);
      table[i][j] = std::min({replaced, table[i - 1][j] + 1, table[i][j - 1] + 1});
      const bool is_swapped =
          i > 1 && j > 1 && IsSameLetter(a[i - 1], b[j - 2]) && IsSameLetter(a[i - 2], b[j - 1]);
      if (is_swapped) table[i][j] = std::min(table[i][j], table[i - 2][j - 2] + 1);
    }
  }
  return table[a.size()][b.size()];
}

}  // namespace

std::string NearName(const std::string& name, const std::vector<std::string>& names) {
  size_t least = std::min(name.size() / 3, kMostSlips) + 1;
  std::string nearest;
  for (const std::string& other : names) {
    if (other == name) return "";
    const size_t longer = std::max(name.size(), other.size());
    // What a client sends may be very long.
    if (longer - std::min(name.size(), other.size()) >= least) continue;
    const size_t distance = Distance(name, other);
    if (distance >= least) continue;
    least = distance;
    nearest = other;
  }
  return nearest;
}

std::string DidYouMean(const std::string& name) {
  return name.empty() ? "" : ": did you mean '" + name + "'?";
}

}  // namespace host
