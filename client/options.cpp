#include "options.h"

namespace show {

namespace {

constexpr std::chrono::seconds kInterval{2};
constexpr int kLongestInterval = 86400;  // Seconds.
constexpr char kWatch[] = "--watch=";

/// Seconds from 1 to a day.
std::optional<std::chrono::seconds> ParseInterval(const std::string& text) {
  const bool is_number = !text.empty() && text.size() <= 5 &&
                         text.find_first_not_of("0123456789") == std::string::npos;
  const int seconds = is_number ? std::stoi(text) : 0;
  if (seconds < 1 || seconds > kLongestInterval) return std::nullopt;
  return std::chrono::seconds(seconds);
}

/// A word that stands for itself.
bool TakeWord(const std::string& word, Options* options) {
  if (word == "--json" && options->form == Form::kTables) {
    options->form = Form::kJson;
  } else if (word == "--prometheus" && options->form == Form::kTables) {
    options->form = Form::kMetrics;
  } else if (word == "--watch") {
    options->interval = kInterval;
  } else if (word.rfind(kWatch, 0) == 0) {
    options->interval = ParseInterval(word.substr(sizeof kWatch - 1));
    return options->interval.has_value();
  } else {
    return false;
  }
  return true;
}

/// A kind, and then the names of some of it.
bool TakeSelection(const std::string& word, Selection* selection) {
  if (word.empty() || word[0] == '-') return false;
  if (selection->kind != nullptr) {
    selection->names.push_back(word);
    return true;
  }
  selection->kind = FindKind(word);
  return selection->kind != nullptr;
}

}  // namespace

std::optional<Options> ParseOptions(const std::vector<std::string>& words) {
  Options options;
  for (size_t i = 0; i < words.size(); ++i) {
    if (words[i] == "--socket" && i + 1 < words.size()) {
      options.socket = words[++i];
    } else if (!TakeWord(words[i], &options) && !TakeSelection(words[i], &options.selection)) {
      return std::nullopt;
    }
  }
  if (options.interval && options.form != Form::kTables) return std::nullopt;
  return options;
}

}  // namespace show
