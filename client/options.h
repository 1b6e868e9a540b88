// The command line of snmp-app-show.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "selection.h"

namespace show {

enum class Form { kTables, kJson, kMetrics };

struct Options {
  Form form = Form::kTables;
  std::optional<std::chrono::seconds> interval;  ///< Shown again and again; else once.
  std::string socket;                            ///< Empty for the usual one.
  Selection selection;
};

/// What the words behind the program's name say; nothing for words that it does not know or that
/// do not go together.
std::optional<Options> ParseOptions(const std::vector<std::string>& words);

}  // namespace show
