#include "confd/path_text.h"

#include <algorithm>
#include <cstddef>
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
      if (step.prefix.empty()) Refuse("a module prefix is missing");
      if (step.name.find(':') != std::string::npos) Refuse("an element name has a colon");
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

/// A list of arguments that ends with its object.
class Arguments {
 public:
  explicit Arguments(va_list list) { va_copy(list_, list); }
  ~Arguments() { va_end(list_); }
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;

  /// The text of one conversion, `percent` pointing at its '%'; `*end` is set behind it.
  std::string Convert(const char* percent, const char** end) {
    const char* letter = percent + 1;
    while (*letter == 'h' || *letter == 'l') ++letter;
    *end = *letter == '\0' ? letter : letter + 1;
    const auto longs = std::count(percent, letter, 'l');
    switch (*letter) {
      case '%':
        return "%";
      case 's':
        return va_arg(list_, const char*);
      case 'd':
      case 'i':
        return Number<int, long, long long>(longs);
      case 'u':
        return Number<unsigned int, unsigned long, unsigned long long>(longs);
      case 'x':
        return ValueText(*va_arg(list_, const confd_value_t*));
      default:
        throw std::invalid_argument("path format with the unknown conversion " +
                                    std::string(percent, *end));
    }
  }

 private:
  template <typename Plain, typename Long, typename LongLong>
  std::string Number(std::ptrdiff_t longs) {
    if (longs == 0) return std::to_string(va_arg(list_, Plain));
    if (longs == 1) return std::to_string(va_arg(list_, Long));
    return std::to_string(va_arg(list_, LongLong));
  }

  va_list list_;
};

}  // namespace

bool operator==(const PathStep& a, const PathStep& b) {
  return a.prefix == b.prefix && a.name == b.name && a.keys == b.keys && a.index == b.index;
}

std::string FormatPath(const char* format, va_list arguments) {
  Arguments rest(arguments);
  std::string path;
  while (*format != '\0') {
    if (*format == '%') {
      path += rest.Convert(format, &format);
    } else {
      path += *format++;
    }
  }
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
