#include "netconf/edit_refusal.h"

#include <cstring>
#include <optional>
#include <string>

#include "config/parse_refusal.h"
#include "config/type_words.h"
#include "config/yang_data.h"
#include "netconf/rpc_error.h"

namespace host {

namespace {

const lys_module* ModuleOf(const lyd_node* node, const ly_ctx* context) {
  return ly_ctx_get_module_implemented_ns(context, NamespaceOf(node));
}

/// Null at the top.
const lysc_node* SchemaOfParent(const lyd_node* parent) {
  return parent == nullptr ? nullptr : parent->schema;
}

/// Why a leaf cannot have a value; nothing when its type takes it.
std::optional<Refusal> RefusalOf(ly_ctx* context, const lysc_node* leaf, const char* value) {
  const LY_ERR result =
      lyd_value_validate(context, leaf, value, strlen(value), nullptr, nullptr, nullptr);
  const ly_err_item* error = ly_err_first(context);
  const auto text = [](const char* told) { return std::string(told == nullptr ? "" : told); };
  std::optional<Refusal> refusal;
  if (result != LY_SUCCESS && result != LY_EINCOMPLETE) {
    refusal.emplace("invalid-value", "",
                    WhyNotTaken(leaf, error == nullptr ? nullptr : error->msg, Notation::kXml),
                    error == nullptr ? "" : text(error->apptag));
  }
  ly_err_clean(context, nullptr);
  return refusal;
}

/// `reason` may be none.
RpcError BadValue(const std::string& name, const char* value,
                  const std::optional<Refusal>& reason) {
  const RpcError error = RpcError("application", "invalid-value",
                                  name + " cannot have the value \"" + value + "\"" +
                                      (reason ? std::string(": ") + reason->what() : ""))
                             .With("bad-element", name);
  return reason ? error.WithAppTag(reason->AppTag()) : error;
}

const lyd_node* FindKey(const lyd_node* entry, const lysc_node* key) {
  const lyd_node* child = lyd_child(entry);
  while (child != nullptr && !Means(child, key)) child = child->next;
  return child;
}

/// Throws for the first key that an entry lacks, or that has a value that its type does not take.
void RequireKeys(ly_ctx* context, const lyd_node* entry, const lysc_node* list,
                 const lyd_node* parent) {
  for (const lysc_node* key = lysc_node_child(list); key != nullptr && lysc_is_key(key);
       key = key->next) {
    const lyd_node* found = FindKey(entry, key);
    if (found == nullptr) {
      throw RpcError("application", "missing-element",
                     std::string("an entry of ") + list->name + " lacks a key")
          .At(PathOf(parent))
          .With("bad-element", key->name);
    }
    const char* value = ValueOf(found);
    const std::optional<Refusal> reason = RefusalOf(context, key, value);
    if (!reason) continue;
    throw BadValue(key->name, value, reason).At(PathBelow(parent, list) + "/" + key->name);
  }
}

[[noreturn]] void RefuseTwice(const lyd_node* edit, const lysc_node* element) {
  const lyd_node* parent = lyd_parent(edit);
  // Which entry one with two keys is, is not sure.
  const std::string path = lysc_is_key(element)
                               ? PathBelow(lyd_parent(parent), parent->schema) + "/" + element->name
                               : PathBelow(parent, element);
  throw RpcError("application", "bad-element",
                 std::string(element->name) + " stands twice in one place")
      .At(path)
      .With("bad-element", element->name);
}

/// Of what no leaf can have.
void RefuseElementIn(const lyd_node* leaf, const std::string& path) {
  const lyd_node* inner = lyd_child(leaf);
  if (inner == nullptr) return;
  throw RpcError("application", "unknown-element",
                 std::string(NameOf(leaf)) + " is a leaf, in which no element stands")
      .At(path)
      .With("bad-element", NameOf(inner));
}

}  // namespace

const lysc_node* SchemaOf(const ly_ctx* context, const lyd_node* edit, const lyd_node* parent) {
  const lys_module* module = ModuleOf(edit, context);
  if (module == nullptr || (parent != nullptr && parent->schema == nullptr)) return nullptr;
  return lys_find_child(SchemaOfParent(parent), module, NameOf(edit), 0, 0, 0);
}

void RefuseOpaque(ly_ctx* context, const lyd_node* edit, const lyd_node* parent) {
  const std::string name = NameOf(edit);
  if (ModuleOf(edit, context) == nullptr) {
    throw RpcError("application", "unknown-namespace",
                   name + ": " + UnknownNamespace(context, NamespaceOf(edit)))
        .At(PathOf(parent))
        .With("bad-element", name)
        .With("bad-namespace", NamespaceOf(edit));
  }
  const lysc_node* schema = SchemaOf(context, edit, parent);
  if (schema == nullptr) {
    throw RpcError("application", "unknown-element",
                   UnknownElement(SchemaOfParent(parent), ModuleOf(edit, context), name))
        .At(PathOf(parent))
        .With("bad-element", name);
  }
  if (schema->nodetype == LYS_LIST) RequireKeys(context, edit, schema, parent);
  const bool is_term = (schema->nodetype & (LYS_LEAF | LYS_LEAFLIST)) != 0;
  if (is_term) RefuseElementIn(edit, PathBelow(parent, schema));
  const char* value = ValueOf(edit);
  throw BadValue(name, value, is_term ? RefusalOf(context, schema, value) : std::nullopt)
      .At(PathBelow(parent, schema));
}

void RequireOnce(const lyd_node* edit) {
  if (edit->schema->nodetype != LYS_LEAF) return;
  if (edit->next != nullptr && Means(edit->next, edit->schema)) RefuseTwice(edit, edit->schema);
}

void RequireAlone(const lyd_node* edit, const lysc_node* leaf) {
  for (const lyd_node* other = lyd_first_sibling(edit); other != nullptr; other = other->next) {
    if (other != edit && Means(other, leaf)) RefuseTwice(edit, leaf);
  }
}

void RequireConfiguration(const lyd_node* edit) {
  const bool is_data = (edit->schema->nodetype & (LYS_RPC | LYS_ACTION | LYS_NOTIF)) == 0;
  if (is_data && (edit->schema->flags & LYS_CONFIG_W) != 0) return;
  const std::string name = NameOf(edit);
  throw RpcError("application", "unknown-element", name + " is no configuration")
      .At(PathOf(edit))
      .With("bad-element", name);
}

}  // namespace host
