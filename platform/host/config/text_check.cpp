#include "config/text_check.h"

#include <libyang/plugins_types.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace host {

namespace {

/// Takes a JSON text apart, from its begin on. Each call is false, and the reader good for nothing
/// any more, when something else comes next.
class JsonText {
 public:
  explicit JsonText(const char* text) : next_(text) {}

  /// One of the characters of JSON's structure, behind any white space.
  bool Take(char token) {
    SkipSpace();
    if (*next_ != token) return false;
    ++next_;
    return true;
  }

  bool TakeWord(const char* word) {
    SkipSpace();
    const size_t size = strlen(word);
    if (strncmp(next_, word, size) != 0) return false;
    next_ += size;
    return true;
  }

  /// A part of a string, between the quotes.
  bool TakeInside(const char* part) {
    for (; *part != '\0'; ++part) {
      if (TakeCharacter() != static_cast<unsigned char>(*part)) return false;
    }
    return true;
  }

  /// A quote that ends a string.
  bool TakeQuote() { return *next_ == '"' && *next_++ != '\0'; }

  bool TakeString(const char* value) { return Take('"') && TakeInside(value) && TakeQuote(); }

  bool IsAtEnd() {
    SkipSpace();
    return *next_ == '\0';
  }

 private:
  static constexpr int kNone = -1;

  void SkipSpace() { next_ += strspn(next_, " \t\r\n"); }

  /// One byte of a string's value, kNone at its end and for what no string may have. What is
  /// written as an escape is ASCII, for everything else stands for itself.
  int TakeCharacter() {
    if (*next_ == '"' || static_cast<unsigned char>(*next_) < ' ') return kNone;
    if (*next_ != '\\') return static_cast<unsigned char>(*next_++);
    const char kind = *++next_;
    if (kind == 'u') return TakeCode();
    static constexpr char kEscapes[] = "\"\\/bfnrt";
    static constexpr char kMeanings[] = "\"\\/\b\f\n\r\t";
    const char* found = kind == '\0' ? nullptr : strchr(kEscapes, kind);
    if (found == nullptr) return kNone;
    ++next_;
    return kMeanings[found - kEscapes];
  }

  int TakeCode() {
    char digits[5] = {};
    strncpy(digits, next_ + 1, 4);
    if (strspn(digits, "0123456789abcdefABCDEF") != 4) return kNone;
    next_ += 5;
    const long code = strtol(digits, nullptr, 16);
    return code < 0x80 ? static_cast<int>(code) : kNone;
  }

  const char* next_;
};

/// The default of a leaf is not printed, and a container neither when it has nothing else.
bool IsPrinted(const lyd_node* node) {
  if ((node->flags & LYD_DEFAULT) == 0) return true;
  if (node->schema->nodetype != LYS_CONTAINER) return false;
  for (const lyd_node* child = lyd_child(node); child != nullptr; child = child->next) {
    if (IsPrinted(child)) return true;
  }
  return false;
}

const lyd_node* NextPrinted(const lyd_node* node) {
  while (node != nullptr && !IsPrinted(node)) node = node->next;
  return node;
}

bool IsArray(const lyd_node* node) {
  return (node->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0;
}

const lyd_node* NextOfArray(const lyd_node* entry) {
  const lyd_node* next = NextPrinted(entry->next);
  return next != nullptr && next->schema == entry->schema ? next : nullptr;
}

class Comparison {
 public:
  explicit Comparison(const std::string& text) : text_(text.c_str()) {}

  bool Whole(const lyd_node* first) { return Object(nullptr, first) && text_.IsAtEnd(); }

 private:
  bool Object(const lyd_node* node, const lyd_node* first) {
    if (!text_.Take('{')) return false;
    bool is_first = true;
    if (node != nullptr && node->meta != nullptr) {
      if (!text_.TakeString("@") || !text_.Take(':') || !Metadata(node)) return false;
      is_first = false;
    }
    for (const lyd_node* next = NextPrinted(first); next != nullptr;) {
      if (!is_first && !text_.Take(',')) return false;
      is_first = false;
      const lyd_node* last = next;
      if (!Name("", next) || !Member(&last) || !MetadataBeside(next)) return false;
      next = NextPrinted(last->next);
    }
    return text_.Take('}');
  }

  /// `*last` is the first one of an array's entries, and then the last one.
  bool Member(const lyd_node** last) {
    if (!IsArray(*last)) return Content(*last);
    if (!text_.Take('[') || !Content(*last)) return false;
    for (const lyd_node* entry = NextOfArray(*last); entry != nullptr; entry = NextOfArray(entry)) {
      *last = entry;
      if (!text_.Take(',') || !Content(entry)) return false;
    }
    return text_.Take(']');
  }

  bool Content(const lyd_node* node) {
    switch (node->schema->nodetype) {
      case LYS_CONTAINER:
      case LYS_LIST:
        return Object(node, lyd_child(node));
      case LYS_LEAF:
      case LYS_LEAFLIST:
        return Value(node->schema->module->ctx,
                     reinterpret_cast<const lyd_node_term*>(node)->value);
      default:
        return false;
    }
  }

  /// What is told about a leaf, or about the entries of a leaf-list, stands behind it.
  bool MetadataBeside(const lyd_node* node) {
    if (node->schema->nodetype == LYS_LEAF) {
      return node->meta == nullptr || (text_.Take(',') && Name("@", node) && Metadata(node));
    }
    if (node->schema->nodetype != LYS_LEAFLIST || !HasMetadata(node)) return true;
    if (!text_.Take(',') || !Name("@", node) || !text_.Take('[')) return false;
    for (const lyd_node* entry = node; entry != nullptr; entry = NextOfArray(entry)) {
      if (entry != node && !text_.Take(',')) return false;
      if (entry->meta == nullptr ? !text_.TakeWord("null") : !Metadata(entry)) return false;
    }
    return text_.Take(']');
  }

  static bool HasMetadata(const lyd_node* entry) {
    while (entry != nullptr && entry->meta == nullptr) entry = NextOfArray(entry);
    return entry != nullptr;
  }

  bool Metadata(const lyd_node* node) {
    if (!text_.Take('{')) return false;
    for (const lyd_meta* meta = node->meta; meta != nullptr; meta = meta->next) {
      if (meta != node->meta && !text_.Take(',')) return false;
      const lys_module* module = meta->annotation->module;
      if (!FullName("", module, meta->name) || !Value(module->ctx, meta->value)) return false;
    }
    return text_.Take('}');
  }

  /// With its module where that is another one than the parent's.
  bool Name(const char* sign, const lyd_node* node) {
    const lyd_node* parent = lyd_parent(node);
    const lys_module* module = node->schema->module;
    if (parent == nullptr || parent->schema->module != module) {
      return FullName(sign, module, node->schema->name);
    }
    return text_.Take('"') && text_.TakeInside(sign) && text_.TakeInside(node->schema->name) &&
           text_.TakeQuote() && text_.Take(':');
  }

  bool FullName(const char* sign, const lys_module* module, const char* name) {
    return text_.Take('"') && text_.TakeInside(sign) && text_.TakeInside(module->name) &&
           text_.TakeInside(":") && text_.TakeInside(name) && text_.TakeQuote() && text_.Take(':');
  }

  bool Value(const ly_ctx* context, const lyd_value& value) {
    ly_bool is_new = 0;
    const auto* const text = static_cast<const char*>(
        value.realtype->plugin->print(context, &value, LY_VALUE_JSON, nullptr, &is_new, nullptr));
    const std::unique_ptr<char, decltype(&free)> owned(
        is_new != 0 ? const_cast<char*>(text) : nullptr, free);
    return text != nullptr && Value(text, value);
  }

  /// Numbers of up to 32 bits stand without quotes, also where a union allows them.
  bool Value(const char* text, const lyd_value& value) {
    switch (value.realtype->basetype) {
      case LY_TYPE_UNION:
        return Value(text, value.subvalue->value);
      case LY_TYPE_EMPTY:
        return text_.Take('[') && text_.TakeWord("null") && text_.Take(']');
      case LY_TYPE_BOOL:
      case LY_TYPE_INT8:
      case LY_TYPE_INT16:
      case LY_TYPE_INT32:
      case LY_TYPE_UINT8:
      case LY_TYPE_UINT16:
      case LY_TYPE_UINT32:
        return text_.TakeWord(text);
      default:
        return text_.TakeString(text);
    }
  }

  JsonText text_;
};

}  // namespace

bool Tells(const std::string& text, const lyd_node* tree) {
  return text.find('\0') == std::string::npos && Comparison(text).Whole(tree);
}

}  // namespace host
