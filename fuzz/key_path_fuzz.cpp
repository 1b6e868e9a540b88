// The text of paths: what parses, printed again parses to the same.
#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "confd/path_text.h"
#include "confd/value_text.h"
#include "delivery/change.h"
#include "property.h"

namespace {

std::string Format(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string text = common::FormatPath(format, arguments);
  va_end(arguments);
  return text;
}

std::string KeysText(const std::vector<std::string>& keys) {
  std::string text;
  for (const std::string& key : keys) {
    const common::OwnedValue value(common::MakeBuf(key));
    text += (text.empty() ? "" : " ") + Format("%x", &value.Value());
  }
  return Format("{%s}", text.c_str());
}

std::string StepText(const common::PathStep& step) {
  // A name may hold a colon; then even an empty prefix has its own.
  const bool has_colon = !step.prefix.empty() || step.name.find(':') != std::string::npos;
  std::string text =
      Format("/%s%s%s", step.prefix.c_str(), has_colon ? ":" : "", step.name.c_str());
  if (!step.keys.empty()) text += KeysText(step.keys);
  if (step.index.has_value()) text += Format("[%d]", *step.index);
  return text;
}

void CheckSteps(const std::vector<common::PathStep>& steps) {
  std::string printed;
  for (const common::PathStep& step : steps) {
    Require(!step.name.empty(), "a step has a name");
    Require(step.index.value_or(0) >= 0, "an index counts from 0");
    printed += StepText(step);
  }
  Require(common::ParsePath(printed) == steps, "a printed path parses to the same");
}

/// Steps made of the input: a line's words are name, prefix and keys.
std::vector<common::PathStep> MakeSteps(std::string text) {
  for (const char c : {'/', ':', '{', '}', '[', ']'})
    std::replace(text.begin(), text.end(), c, '_');
  std::vector<common::PathStep> steps;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    common::PathStep step;
    if (!(words >> step.name)) continue;
    words >> step.prefix;
    for (std::string key; words >> key;) step.keys.push_back(key);
    const size_t hash = std::hash<std::string>()(line);
    if (step.keys.empty() && hash % 2 == 0) step.keys.emplace_back();
    if (hash % 3 == 0) step.index = static_cast<int>(hash % 1000000000);
    steps.push_back(step);
  }
  return steps;
}

/// As a format whose every '%' is doubled, a text stands for itself.
void CheckFormat(const std::string& text) {
  std::string format;
  for (const char c : text) format += c == '%' ? std::string("%%") : std::string(1, c);
  Require(Format(format.c_str()) == text, "a text without conversions is formatted to itself");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Paths come as C strings, so there is no zero byte within.
  const std::string text = std::string(reinterpret_cast<const char*>(data), size).c_str();
  CheckFormat(text);
  const std::vector<common::PathStep> made = MakeSteps(text);
  if (!made.empty()) CheckSteps(made);
  std::vector<common::PathStep> steps;
  try {
    steps = common::ParsePath(text);
  } catch (const std::invalid_argument&) {
    return 0;
  }
  CheckSteps(steps);
  return 0;
}
