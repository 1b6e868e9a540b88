#include "confd/path_text.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "confd/value_text.h"
#include "confd_lib.h"

namespace common {

namespace {

/// Reads one step after another off a path's text.
class Reader {
 public:
  explicit Reader(const std::string& text) : text_(text) {}

  bool AtEnd() const { return at_ == text_.size(); }

  PathStep Step() {
    Expect('/');
    PathStep step;
    step.name = Until("/{[]}");
    const size_t colon = step.name.find(':');
    if (colon != std::string::npos) {
      step.prefix = step.name.substr(0, colon);
      step.name.erase(0, colon + 1);
    }
    if (step.name.empty()) Refuse("an element name is missing");
    if (Next('{')) step.keys = Keys();
    if (Next('[')) step.index = Index();
    return step;
  }

 private:
  std::vector<std::string> Keys() {
    std::istringstream words(Until("{}"));
    Expect('}');
    std::vector<std::string> keys;
    for (std::string word; words >> word;) keys.push_back(word);
    if (keys.empty()) keys.emplace_back();
    return keys;
  }

  int Index() {
    const std::string digits = Until("]");
    Expect(']');
    if (digits.empty() || digits.size() > 9 ||
        digits.find_first_not_of("0123456789") != std::string::npos) {
      Refuse("an index is no number");
    }
    return std::stoi(digits);
  }

  std::string Until(const char* ends) {
    const size_t end = std::min(text_.find_first_of(ends, at_), text_.size());
    std::string part = text_.substr(at_, end - at_);
    at_ = end;
    return part;
  }

  bool Next(char c) {
    if (AtEnd() || text_[at_] != c) return false;
    ++at_;
    return true;
  }

  void Expect(char c) {
    if (!Next(c)) Refuse(std::string("'") + c + "' is missing");
  }

  [[noreturn]] void Refuse(const std::string& reason) const {
    throw std::invalid_argument("path \"" + text_ + "\": " + reason + " at position " +
                                std::to_string(at_));
  }

  const std::string& text_;
  size_t at_ = 0;
};

/// One conversion, `percent` pointing at its '%'; `*end` is set behind it.
std::string FormatConversion(const char* percent, const char** end, va_list* arguments) {
  const char* letter = percent + 1;
  while (*letter == 'h' || *letter == 'l') ++letter;
  *end = letter + 1;
  const bool is_long = letter[-1] == 'l';
  switch (*letter) {
    case '%':
      return "%";
    case 's':
      return va_arg(*arguments, const char*);
    case 'd':
    case 'i':
      return is_long ? std::to_string(va_arg(*arguments, long))
                     : std::to_string(va_arg(*arguments, int));
    case 'u':
      return is_long ? std::to_string(va_arg(*arguments, unsigned long))
                     : std::to_string(va_arg(*arguments, unsigned int));
    case 'x':
      return ValueText(*va_arg(*arguments, const confd_value_t*));
    default:
      throw std::invalid_argument("path format with the unknown conversion " +
                                  std::string(percent, *end));
  }
}

}  // namespace

bool operator==(const PathStep& a, const PathStep& b) {
  return a.prefix == b.prefix && a.name == b.name && a.keys == b.keys && a.index == b.index;
}

std::string FormatPath(const char* format, va_list arguments) {
  va_list rest;
  va_copy(rest, arguments);
  std::string path;
  while (*format != '\0') {
    if (*format == '%') {
      path += FormatConversion(format, &format, &rest);
    } else {
      path += *format++;
    }
  }
  va_end(rest);
  return path;
}

std::vector<PathStep> ParsePath(const std::string& text) {
  std::vector<PathStep> steps;
  Reader reader(text);
  do {
    steps.push_back(reader.Step());
  } while (!reader.AtEnd());
  return steps;
}

}  // namespace common
