#include "netconf/message_limits.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace host {

namespace {

/// What stands between these has no attributes, and may have quotes.
struct Passed {
  const char* begin;
  const char* end;
};

constexpr std::array<Passed, 3> kPassed = {{{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}}};

/// Where what begins at a "<" and is passed over ends; the same place for anything else.
size_t PassOver(const std::string& text, size_t at) {
  const auto* const found = std::find_if(kPassed.begin(), kPassed.end(), [&](const Passed& passed) {
    return text.compare(at, std::strlen(passed.begin), passed.begin) == 0;
  });
  if (found == kPassed.end()) return at;
  return std::min(text.size(), text.find(found->end, at + std::strlen(found->begin)));
}

/// Counts the attributes of a tag up to its end, or the begin of another one.
struct Tag {
  size_t attributes = 0;
  char quote = '\0';
  bool is_open = true;

  void Take(char c) {
    if (quote != '\0') {
      if (c == quote) quote = '\0';
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '=') {
      ++attributes;
    } else if (c == '>') {
      is_open = false;
    }
  }
};

}  // namespace

bool HasTooManyAttributes(const std::string& text) {
  size_t at = text.find('<');
  while (at < text.size()) {
    const size_t behind = PassOver(text, at);
    if (behind != at) {
      at = text.find('<', behind);
      continue;
    }
    Tag tag;
    for (++at; at < text.size() && tag.is_open; ++at) {
      // No value has this character, so a quote that is not closed hides nothing.
      if (text[at] == '<') break;
      tag.Take(text[at]);
      if (tag.attributes > kMostAttributes) return true;
    }
    at = text.find('<', at);
  }
  return false;
}

}  // namespace host
