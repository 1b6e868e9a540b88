// Which of the names that there are somebody may have meant.
#pragma once

#include <string>
#include <vector>

namespace host {

/// The name that `name` is a slip of the keyboard of: the one that the fewest letters must be put
/// in, taken out, replaced or swapped for, and no more than one in three, three at most; upper and
/// lower case count as the same. The first of several; empty when none is near, or `name` is one of
/// them.
std::string NearName(const std::string& name, const std::vector<std::string>& names);

/// ": did you mean 'NAME'?"; empty for an empty name.
std::string DidYouMean(const std::string& name);

}  // namespace host
