// Whether a text is well-formed XML, for harnesses whose code under test reads and writes it.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// A document of XML with namespaces, without a document type: whether it is well-formed, and its
/// root. Written without the code under test, which reads XML by libyang.
class Document {
 public:
  explicit Document(const std::string& text) : text_(text) { is_well_formed_ = ReadAll(); }

  bool IsWellFormed() const { return is_well_formed_; }
  /// Text beside elements in the root, which a request does not have.
  bool HasTextInRoot() const { return has_text_in_root_; }
  bool HasRoot(const std::string& ns, const std::string& name) const {
    return root_ == Name(ns, name);
  }
  /// Of the root, without a prefix.
  const std::string* Attribute(const std::string& name) const {
    const auto found = attributes_.find({"", name});
    return found == attributes_.end() ? nullptr : &found->second;
  }

 private:
  using Name = std::pair<std::string, std::string>;  ///< Prefix, or what it stands for, and name.

  bool ReadAll() {
    if (!IsText(0, text_.size())) return false;
    if (Next("<?xml ") && !Skip("?>")) return false;
    if (!Misc() || !Element() || !Misc()) return false;
    return at_ == text_.size();
  }

  bool Next(const char* expected) {
    const size_t size = std::char_traits<char>::length(expected);
    if (text_.compare(at_, size, expected) != 0) return false;
    at_ += size;
    return true;
  }

  bool Skip(const char* end) {
    const size_t found = text_.find(end, at_);
    if (found == std::string::npos) return false;
    at_ = found + std::char_traits<char>::length(end);
    return true;
  }

  bool Blanks() {
    const size_t begin = at_;
    at_ = std::min(text_.find_first_not_of(" \t\r\n", at_), text_.size());
    return at_ != begin;
  }

  bool Comment() {
    const size_t begin = at_;
    return Skip("-->") && text_.find("--", begin) + 3 == at_;
  }

  bool Misc() {
    for (Blanks(); Next("<!--"); Blanks()) {
      if (!Comment()) return false;
    }
    return true;
  }

  /// Whether a part has characters of XML only, in UTF-8.
  bool IsText(size_t begin, size_t end) const {
    for (size_t i = begin; i < end;) {
      const auto first = static_cast<uint8_t>(text_[i]);
      const size_t more = first < 0x80 ? 0 : first >= 0xf0 ? 3 : first >= 0xe0 ? 2 : 1;
      if (first >= 0x80 && (first < 0xc2 || first > 0xf4)) return false;
      uint32_t code = more == 0 ? first : first & (0x3fU >> more);
      for (size_t k = 1; k <= more; ++k) {
        if (i + k >= end || (static_cast<uint8_t>(text_[i + k]) & 0xc0U) != 0x80) return false;
        code = code << 6U | (static_cast<uint8_t>(text_[i + k]) & 0x3fU);
      }
      constexpr uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
      if (code < kLeast[more] || !IsCharacter(code)) return false;
      i += more + 1;
    }
    return true;
  }

  static bool IsCharacter(uint32_t code) {
    if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
    return code < 0xd800 || (code > 0xdfff && code != 0xfffe && code != 0xffff && code < 0x110000);
  }

  /// Any character beyond ASCII is taken for one that names may have.
  bool PlainName(std::string* name) {
    const auto is_letter = [](char c) {
      return isalpha(static_cast<uint8_t>(c)) != 0 || c == '_' || static_cast<uint8_t>(c) >= 0x80;
    };
    const size_t begin = at_;
    while (at_ < text_.size() && (is_letter(text_[at_]) ||
                                  (at_ > begin && (isdigit(static_cast<uint8_t>(text_[at_])) != 0 ||
                                                   text_[at_] == '-' || text_[at_] == '.')))) {
      ++at_;
    }
    *name = text_.substr(begin, at_ - begin);
    return at_ != begin;
  }

  bool QualifiedName(Name* name) {
    name->first.clear();
    if (!PlainName(&name->second)) return false;
    if (!Next(":")) return true;
    name->first = name->second;
    return PlainName(&name->second);
  }

  /// One of &lt; and so on, or &#1234;
  bool Reference(std::string* text) {
    for (const auto& [name, value] :
         {std::make_pair("lt;", '<'), std::make_pair("gt;", '>'), std::make_pair("amp;", '&'),
          std::make_pair("quot;", '"'), std::make_pair("apos;", '\'')}) {
      if (Next(name)) return text->push_back(value), true;
    }
    if (!Next("#")) return false;
    const bool is_hex = Next("x");
    const size_t end = text_.find(';', at_);
    const std::string digits = text_.substr(at_, end - at_);
    const char* allowed = is_hex ? "0123456789abcdefABCDEF" : "0123456789";
    if (end == std::string::npos || digits.empty() || digits.size() > 6 ||
        digits.find_first_not_of(allowed) != std::string::npos) {
      return false;
    }
    at_ = end + 1;
    const auto code = static_cast<uint32_t>(std::stoul(digits, nullptr, is_hex ? 16 : 10));
    if (!IsCharacter(code)) return false;
    AppendUtf8(code, text);
    return true;
  }

  static void AppendUtf8(uint32_t code, std::string* text) {
    const auto part = [&](uint32_t mark, uint32_t shift) {
      text->push_back(static_cast<char>(mark | (code >> shift & 0x3fU)));
    };
    if (code < 0x80) {
      text->push_back(static_cast<char>(code));
      return;
    }
    if (code >= 0x10000) {
      text->push_back(static_cast<char>(0xf0U | code >> 18U));
      part(0x80, 12);
    } else if (code >= 0x800) {
      text->push_back(static_cast<char>(0xe0U | code >> 12U));
    } else {
      text->push_back(static_cast<char>(0xc0U | code >> 6U));
    }
    if (code >= 0x800) part(0x80, 6);
    part(0x80, 0);
  }

  bool Value(std::string* value) {
    if (at_ >= text_.size() || (text_[at_] != '"' && text_[at_] != '\'')) return false;
    const char quote = text_[at_++];
    value->clear();
    while (at_ < text_.size() && text_[at_] != quote) {
      const char c = text_[at_++];
      if (c == '<' || (c == '&' && !Reference(value))) return false;
      if (c != '&') *value += c;
    }
    return at_++ < text_.size();
  }

  const std::string* Resolve(const std::string& prefix) const {
    for (auto scope = scopes_.rbegin(); scope != scopes_.rend(); ++scope) {
      const auto found = scope->find(prefix);
      if (found != scope->end()) return &found->second;
    }
    return nullptr;
  }

  /// The attributes of a start tag, and the namespaces that it declares.
  bool Attributes(std::map<Name, std::string>* resolved) {
    std::map<Name, std::string> attributes;
    std::map<std::string, std::string>& scope = scopes_.emplace_back();
    while (Blanks() && at_ < text_.size() && text_[at_] != '>' && text_[at_] != '/') {
      Name name;
      std::string value;
      if (!QualifiedName(&name)) return false;
      Blanks();
      if (!Next("=")) return false;
      Blanks();
      if (!Value(&value) || !attributes.emplace(name, value).second) return false;
      if (name == Name("", "xmlns")) scope[""] = value;
      if (name.first != "xmlns") continue;
      if (value.empty() || name.second == "xmlns" || name.second == "xml") return false;
      scope[name.second] = value;
    }
    for (const auto& [name, value] : attributes) {
      if (name.first == "xmlns" || name == Name("", "xmlns")) continue;
      const std::string* ns = Resolve(name.first);
      if (!name.first.empty() && ns == nullptr) return false;
      if (!resolved->emplace(Name(name.first.empty() ? "" : *ns, name.second), value).second) {
        return false;
      }
    }
    return true;
  }

  /// The root, with all below it.
  bool Element() {
    std::vector<Name> open;
    do {
      if (Next("<!--") ? !Comment() : Next("<![CDATA[") ? !Text(open.size(), true) : !Tag(&open)) {
        return false;
      }
      if (!open.empty() && !Text(open.size(), false)) return false;
    } while (!open.empty());
    return true;
  }

  /// Text up to the next tag or, in a section of characters, up to its end.
  bool Text(size_t depth, bool is_section) {
    const size_t begin = at_;
    if (is_section) {
      if (depth == 1) has_text_in_root_ = true;
      return depth > 0 && Skip("]]>");
    }
    std::string text;
    while (at_ < text_.size() && text_[at_] != '<') {
      if (text_[at_++] == '&' && !Reference(&text)) return false;
    }
    const std::string whole = text_.substr(begin, at_ - begin);
    if (depth == 1 && whole.find_first_not_of(" \t\r\n") != std::string::npos) {
      has_text_in_root_ = true;
    }
    return whole.find("]]>") == std::string::npos;
  }

  bool Tag(std::vector<Name>* open) {
    Name name;
    if (Next("</")) {
      if (open->empty() || !QualifiedName(&name) || name != open->back()) return false;
      Blanks();
      open->pop_back();
      scopes_.pop_back();
      return Next(">");
    }
    std::map<Name, std::string> attributes;
    if (!Next("<") || !QualifiedName(&name) || !Attributes(&attributes)) return false;
    const std::string* ns = Resolve(name.first);
    if (!name.first.empty() && ns == nullptr) return false;
    if (open->empty()) {
      root_ = {ns == nullptr ? "" : *ns, name.second};
      attributes_ = attributes;
    }
    if (Next("/>")) return scopes_.pop_back(), true;
    open->push_back(name);
    return Next(">");
  }

  const std::string& text_;
  size_t at_ = 0;
  bool is_well_formed_ = false;
  bool has_text_in_root_ = false;
  Name root_;
  std::map<Name, std::string> attributes_;
  std::vector<std::map<std::string, std::string>> scopes_ = {
      {{"xml", "http://www.w3.org/XML/1998/namespace"}}};
};
