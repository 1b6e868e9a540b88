#include "netconf/xml.h"

#include <algorithm>

namespace host {

namespace {

constexpr char kBlanks[] = " \t\r\n";

/// Whether XML has the character; it has most control characters not even escaped.
bool IsXmlCharacter(uint32_t code) {
  if (code < ' ') return code == '\t' || code == '\n' || code == '\r';
  const bool is_surrogate = code >= 0xd800 && code <= 0xdfff;
  return !is_surrogate && code != 0xfffe && code != 0xffff && code <= 0x10ffff;
}

/// The size in bytes of the character of UTF-8 at a place, 0 for what is none that XML has.
size_t CharacterSize(const std::string& text, size_t at) {
  constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  const auto first = static_cast<uint8_t>(text[at]);
  if (first < 0x80) return IsXmlCharacter(first) ? 1 : 0;
  const size_t size = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
  if (first < 0xc0 || first >= 0xf8 || at + size > text.size()) return 0;
  uint32_t code = first & (0xffU >> (size + 1));
  for (size_t i = at + 1; i < at + size; ++i) {
    const auto next = static_cast<uint8_t>(text[i]);
    if ((next & 0xc0U) != 0x80) return 0;
    code = code << 6U | (next & 0x3fU);
  }
  return code >= kLeast[size] && IsXmlCharacter(code) ? size : 0;
}

/// What stands for a character, null for the character itself.
const char* ReferenceTo(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\r':
      return "&#13;";
    default:
      return nullptr;
  }
}

}  // namespace

std::string EscapeXml(const std::string& text) {
  std::string escaped;
  for (size_t at = 0; at < text.size();) {
    const size_t size = CharacterSize(text, at);
    const char* reference = size == 1 ? ReferenceTo(text[at]) : nullptr;
    if (reference != nullptr) {
      escaped += reference;
    } else if (size == 0) {
      escaped += '?';
    } else {
      escaped.append(text, at, size);
    }
    at += std::max<size_t>(size, 1);
  }
  return escaped;
}

std::string EscapeAttribute(const std::string& text) {
  std::string escaped;
  for (const char c : EscapeXml(text)) {
    if (c == '\n' || c == '\t') {
      escaped += c == '\n' ? "&#10;" : "&#9;";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string Element(const std::string& name, const std::string& content) {
  return "<" + name + ">" + content + "</" + name + ">";
}

std::string Element(const std::string& name, uint64_t number) {
  return Element(name, std::to_string(number));
}

std::string Leaf(const std::string& name, const std::string& text) {
  return text.empty() ? "" : Element(name, EscapeXml(text));
}

std::string Leaf(const std::string& name, bool value) {
  return Element(name, std::string(value ? "true" : "false"));
}

std::string Trimmed(const std::string& text) {
  const size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

Tree ParseState(ly_ctx* context, const std::string& xml) {
  return ParseData(context, Input(xml), LYD_XML, LYD_PARSE_STRICT);
}

}  // namespace host
