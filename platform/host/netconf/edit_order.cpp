#include "netconf/edit_order.h"

#include <string>

#include "netconf/rpc_error.h"

namespace host {

namespace {

constexpr const char* kAttributes[] = {"insert", "key", "value"};

/// The text of one of these attributes, null when the element does not have it.
const char* Attribute(const lyd_node* edit, const char* name) {
  const lyd_meta* meta = FindMeta(edit, "yang", name);
  return meta == nullptr ? nullptr : lyd_get_meta_value(meta);
}

RpcError Wrong(const char* tag, const lyd_node* edit, const char* attribute,
               const std::string& message) {
  return RpcError("protocol", tag, message)
      .At(PathOf(edit))
      .With("bad-attribute", attribute)
      .With("bad-element", NameOf(edit));
}

void RequireNoPlace(const lyd_node* edit) {
  for (const char* name : kAttributes) {
    if (Attribute(edit, name) == nullptr) continue;
    throw Wrong("unknown-attribute", edit, name,
                std::string("the order of ") + NameOf(edit) + " is not the operator's");
  }
}

Place::Kind KindOf(const lyd_node* edit, const std::string& text) {
  if (text == "first") return Place::Kind::kFirst;
  if (text == "last") return Place::Kind::kLast;
  if (text == "before") return Place::Kind::kBefore;
  if (text == "after") return Place::Kind::kAfter;
  throw Wrong("bad-attribute", edit, "insert", "there is no place " + text);
}

/// Keys as in "[p:a='1'][p:b='2']" without the prefixes, which all stand for the list's own module.
std::string WithoutPrefixes(const std::string& keys) {
  std::string plain;
  size_t name = 0;
  char quote = '\0';
  for (const char c : keys) {
    if (quote == '\0' && c == ':') {
      plain.erase(name);
      continue;
    }
    plain += c;
    if (quote != '\0') {
      if (c == quote) quote = '\0';
    } else if (c == '\'' || c == '"') {
      quote = c;
    } else if (c == '[') {
      name = plain.size();
    }
  }
  return plain;
}

lyd_node* FindAnchor(const lyd_node* edit, const lyd_node* siblings) {
  const bool is_list = edit->schema->nodetype == LYS_LIST;
  const char* name = is_list ? "key" : "value";
  const char* text = Attribute(edit, name);
  if (text == nullptr) {
    throw Wrong("missing-attribute", edit, name,
                std::string(name) + " tells before or after which entry");
  }
  const std::string wanted = is_list ? WithoutPrefixes(text) : text;
  lyd_node* found = nullptr;
  // What libyang looks in must not be null even where there is nothing yet.
  const LY_ERR result = lyd_find_sibling_val(siblings == nullptr ? edit : siblings, edit->schema,
                                             wanted.c_str(), wanted.size(), &found);
  if (result != LY_SUCCESS && result != LY_ENOTFOUND) {
    throw Wrong("bad-attribute", edit, name,
                std::string(text) + " is no entry: " + TakeErrors(edit->schema->module->ctx));
  }
  if (found == nullptr || siblings == nullptr) {
    throw Wrong("bad-attribute", edit, name, std::string("there is no entry ") + text)
        .WithAppTag("missing-instance");
  }
  return found;
}

}  // namespace

Place PlaceOf(const lyd_node* edit, const lyd_node* siblings) {
  if (edit->meta == nullptr) return {};
  if (!lysc_is_userordered(edit->schema)) {
    RequireNoPlace(edit);
    return {};
  }
  const char* insert = Attribute(edit, "insert");
  if (insert == nullptr) return {};
  const Place::Kind kind = KindOf(edit, insert);
  const bool has_anchor = kind == Place::Kind::kBefore || kind == Place::Kind::kAfter;
  return {kind, has_anchor ? FindAnchor(edit, siblings) : nullptr};
}

}  // namespace host
