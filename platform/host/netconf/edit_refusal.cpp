#include "netconf/edit_refusal.h"

#include <cstring>

#include "netconf/rpc_error.h"

namespace host {

namespace {

const lyd_node_opaq* Opaque(const lyd_node* node) {
  return reinterpret_cast<const lyd_node_opaq*>(node);
}

const lys_module* ModuleOf(const lyd_node_opaq* node, const ly_ctx* context) {
  return node->name.module_ns == nullptr
             ? nullptr
             : ly_ctx_get_module_implemented_ns(context, node->name.module_ns);
}

/// The path of an element below `parent`, without keys.
std::string PathBelow(const lyd_node* parent, const lysc_node* schema) {
  const bool is_same_module = parent != nullptr && parent->schema->module == schema->module;
  return PathOf(parent) + "/" + (is_same_module ? "" : std::string(schema->module->name) + ":") +
         schema->name;
}

/// Why a leaf cannot have a value, empty when its type takes it.
std::string ReasonAgainst(ly_ctx* context, const lysc_node* leaf, const char* value) {
  const LY_ERR result =
      lyd_value_validate(context, leaf, value, strlen(value), nullptr, nullptr, nullptr);
  const ly_err_item* error = ly_err_first(context);
  std::string reason;
  if (result != LY_SUCCESS && result != LY_EINCOMPLETE) {
    reason = error == nullptr || error->msg == nullptr ? "its type does not take it" : error->msg;
  }
  ly_err_clean(context, nullptr);
  return reason;
}

RpcError BadValue(const std::string& name, const char* value, const std::string& reason) {
  return RpcError("application", "invalid-value",
                  name + " cannot have the value \"" + value + "\"" +
                      (reason.empty() ? "" : ": " + reason))
      .With("bad-element", name);
}

const lyd_node* FindChild(const lyd_node* entry, const lysc_node* schema) {
  const lyd_node* child = lyd_child(entry);
  for (; child != nullptr; child = child->next) {
    const char* ns = child->schema == nullptr ? Opaque(child)->name.module_ns : nullptr;
    const bool is_same = child->schema == nullptr
                             ? ns != nullptr && strcmp(ns, schema->module->ns) == 0 &&
                                   strcmp(Opaque(child)->name.name, schema->name) == 0
                             : child->schema == schema;
    if (is_same) break;
  }
  return child;
}

/// Throws for the first key that an entry lacks, or that has a value that its type does not take.
void RequireKeys(ly_ctx* context, const lyd_node* entry, const lysc_node* list,
                 const lyd_node* parent) {
  for (const lysc_node* key = lysc_node_child(list); key != nullptr && lysc_is_key(key);
       key = key->next) {
    const lyd_node* found = FindChild(entry, key);
    if (found == nullptr) {
      throw RpcError("application", "missing-element",
                     std::string("an entry of ") + list->name + " lacks a key")
          .At(PathOf(parent))
          .With("bad-element", key->name);
    }
    const char* value = found->schema == nullptr ? Opaque(found)->value : lyd_get_value(found);
    const std::string reason = ReasonAgainst(context, key, value);
    if (reason.empty()) continue;
    throw BadValue(key->name, value, reason).At(PathBelow(parent, list) + "/" + key->name);
  }
}

}  // namespace

std::string NameOf(const lyd_node* node) {
  return node->schema == nullptr ? Opaque(node)->name.name : node->schema->name;
}

const lysc_node* SchemaOf(const ly_ctx* context, const lyd_node* edit, const lyd_node* parent) {
  const lys_module* module = ModuleOf(Opaque(edit), context);
  if (module == nullptr || (parent != nullptr && parent->schema == nullptr)) return nullptr;
  return lys_find_child(parent == nullptr ? nullptr : parent->schema, module, NameOf(edit).c_str(),
                        0, 0, 0);
}

void RefuseOpaque(ly_ctx* context, const lyd_node* edit, const lyd_node* parent) {
  const std::string name = NameOf(edit);
  if (ModuleOf(Opaque(edit), context) == nullptr) {
    const char* ns = Opaque(edit)->name.module_ns;
    throw RpcError("application", "unknown-namespace", "no model has the namespace of " + name)
        .At(PathOf(parent))
        .With("bad-element", name)
        .With("bad-namespace", ns == nullptr ? "" : ns);
  }
  const lysc_node* schema = SchemaOf(context, edit, parent);
  if (schema == nullptr) {
    throw RpcError("application", "unknown-element", "the models have no element " + name)
        .At(PathOf(parent))
        .With("bad-element", name);
  }
  if (schema->nodetype == LYS_LIST) RequireKeys(context, edit, schema, parent);
  const bool is_term = (schema->nodetype & (LYS_LEAF | LYS_LEAFLIST)) != 0;
  const char* value = Opaque(edit)->value;
  throw BadValue(name, value, is_term ? ReasonAgainst(context, schema, value) : "")
      .At(PathBelow(parent, schema));
}

void RequireOneKey(const lyd_node* key) {
  if (key->next == nullptr || key->next->schema != key->schema) return;
  throw RpcError("application", "bad-element", NameOf(key) + " stands twice in one entry")
      .At(PathOf(key))
      .With("bad-element", NameOf(key));
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
