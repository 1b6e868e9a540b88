#include "netconf/edit.h"

#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include "netconf/rpc_error.h"

namespace host {

namespace {

constexpr uint16_t kInner = LYS_CONTAINER | LYS_LIST;

struct NamedOperation {
  const char* name;
  EditOperation operation;
};

constexpr NamedOperation kOperations[] = {
    {"merge", EditOperation::kMerge},   {"replace", EditOperation::kReplace},
    {"create", EditOperation::kCreate}, {"delete", EditOperation::kDelete},
    {"remove", EditOperation::kRemove}, {"none", EditOperation::kNone},
};

std::string NameOf(const lyd_node* node) {
  return node->schema == nullptr ? reinterpret_cast<const lyd_node_opaq*>(node)->name.name
                                 : node->schema->name;
}

const lys_module* ModuleOf(const lyd_node_opaq* node, const ly_ctx* context) {
  return node->name.module_ns == nullptr
             ? nullptr
             : ly_ctx_get_module_implemented_ns(context, node->name.module_ns);
}

/// The models' element that an element of the edit names, or null.
const lysc_node* SchemaOf(const ly_ctx* context, const lyd_node* edit, const lyd_node* parent) {
  const lys_module* module = ModuleOf(reinterpret_cast<const lyd_node_opaq*>(edit), context);
  if (module == nullptr || (parent != nullptr && parent->schema == nullptr)) return nullptr;
  return lys_find_child(parent == nullptr ? nullptr : parent->schema, module, NameOf(edit).c_str(),
                        0, 0, 0);
}

/// The operation that an element, which libyang could not take as one of the models, says itself.
std::optional<EditOperation> OwnOperation(const lyd_node* edit) {
  const auto* opaque = reinterpret_cast<const lyd_node_opaq*>(edit);
  for (const lyd_attr* attribute = opaque->attr; attribute != nullptr;
       attribute = attribute->next) {
    if (strcmp(attribute->name.name, "operation") == 0) {
      return ParseEditOperation(attribute->value);
    }
  }
  return std::nullopt;
}

/// Tells what is wrong with an element that libyang could not take as one of the models.
[[noreturn]] void RefuseOpaque(const ly_ctx* context, const lyd_node* node,
                               const lyd_node* parent) {
  const auto* opaque = reinterpret_cast<const lyd_node_opaq*>(node);
  const std::string name = NameOf(node);
  const lys_module* module = ModuleOf(opaque, context);
  if (module == nullptr) {
    throw RpcError("application", "unknown-namespace", "no model has the namespace of " + name)
        .At(PathOf(parent))
        .With("bad-element", name);
  }
  const lysc_node* schema = SchemaOf(context, node, parent);
  if (schema == nullptr) {
    throw RpcError("application", "unknown-element", "the models have no element " + name)
        .At(PathOf(parent))
        .With("bad-element", name);
  }
  if (schema->nodetype == LYS_LIST) {
    throw RpcError("application", "missing-element", "an entry of " + name + " lacks a key")
        .At(PathOf(parent))
        .With("bad-element", lysc_node_child(schema)->name);
  }
  throw RpcError("application", "invalid-value",
                 name + " cannot have the value \"" + opaque->value + "\"")
      .At(PathOf(parent) + "/" + name)
      .With("bad-element", name);
}

EditOperation OperationOf(const lyd_node* node, EditOperation inherited) {
  const lyd_meta* meta = lyd_find_meta(node->meta, nullptr, "ietf-netconf:operation");
  return meta == nullptr ? inherited : ParseEditOperation(lyd_get_meta_value(meta));
}

/// One edit: where it stands and what it changes.
class Editor {
 public:
  Editor(ly_ctx* context, Tree* tree) : context_(context), tree_(tree) {}

  /// Applies `edit` and its siblings below `parent`, null at the top.
  void ApplyAll(const lyd_node* edit, EditOperation inherited, lyd_node* parent) {
    for (; edit != nullptr; edit = edit->next) {
      if (edit->schema == nullptr) {
        RemoveByName(edit, parent);
      } else if (!lysc_is_key(edit->schema)) {
        Apply(edit, OperationOf(edit, inherited), parent);
      }
    }
  }

 private:
  void Apply(const lyd_node* edit, EditOperation operation, lyd_node* parent) {
    lyd_node* found = Find(edit, parent);
    // What has only its default value is not there for whoever creates or deletes it.
    const bool exists = found != nullptr && (found->flags & LYD_DEFAULT) == 0;
    if (operation == EditOperation::kDelete || operation == EditOperation::kRemove) {
      Remove(edit, operation, exists ? found : nullptr);
      return;
    }
    if (exists && operation == EditOperation::kCreate) {
      throw RpcError("application", "data-exists", NameOf(edit) + " exists already")
          .At(PathOf(edit));
    }
    if (found == nullptr && operation == EditOperation::kNone) {
      throw RpcError("application", "data-missing", NameOf(edit) + " does not exist")
          .At(PathOf(edit));
    }
    if (operation == EditOperation::kReplace && found != nullptr) {
      Free(found);
      found = nullptr;
    }
    if ((edit->schema->nodetype & kInner) == 0) {
      if (operation != EditOperation::kNone) SetTerm(edit, found, parent);
      return;
    }
    Descend(edit, operation, found != nullptr ? found : Insert(Single(edit), parent));
  }

  void Descend(const lyd_node* edit, EditOperation operation, lyd_node* target) {
    // Below what is new all is new, whatever replaces or creates it.
    const bool is_new = operation == EditOperation::kReplace || operation == EditOperation::kCreate;
    const lyd_node* outer = std::exchange(edit_parent_, edit);
    ApplyAll(lyd_child(edit), is_new ? EditOperation::kMerge : operation, target);
    edit_parent_ = outer;
  }

  /// A leaf is deleted without telling its value; nothing else may lack what its type wants.
  void RemoveByName(const lyd_node* edit, lyd_node* parent) {
    const lysc_node* leaf = SchemaOf(context_, edit, edit_parent_);
    const std::optional<EditOperation> operation = OwnOperation(edit);
    const bool removes = operation == EditOperation::kDelete || operation == EditOperation::kRemove;
    if (leaf == nullptr || leaf->nodetype != LYS_LEAF || !removes) {
      RefuseOpaque(context_, edit, edit_parent_);
    }
    lyd_node* found = FindOnly(leaf, parent);
    const bool exists = found != nullptr && (found->flags & LYD_DEFAULT) == 0;
    Remove(edit, *operation, exists ? found : nullptr);
  }

  void Remove(const lyd_node* edit, EditOperation operation, lyd_node* found) {
    if (found != nullptr) {
      Free(found);
    } else if (operation == EditOperation::kDelete) {
      throw RpcError("application", "data-missing", NameOf(edit) + " does not exist")
          .At(PathOf(edit));
    }
  }

  void SetTerm(const lyd_node* edit, lyd_node* found, lyd_node* parent) {
    if (found == nullptr) {
      Insert(Single(edit), parent);
      return;
    }
    const LY_ERR result = lyd_change_term(found, lyd_get_value(edit));
    if (result == LY_SUCCESS || result == LY_EEXIST || result == LY_ENOT) return;
    throw RpcError("application", "invalid-value", TakeErrors(context_)).At(PathOf(edit));
  }

  /// The element of the tree that an element of the edit means; null when it is not there.
  lyd_node* Find(const lyd_node* edit, const lyd_node* parent) const {
    if ((edit->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) == 0) {
      return FindOnly(edit->schema, parent);
    }
    const lyd_node* siblings = parent == nullptr ? tree_->get() : lyd_child(parent);
    lyd_node* found = nullptr;
    if (siblings != nullptr) lyd_find_sibling_first(siblings, edit, &found);
    return found;
  }

  /// The same for what there is one of, whatever its value is.
  lyd_node* FindOnly(const lysc_node* schema, const lyd_node* parent) const {
    const lyd_node* siblings = parent == nullptr ? tree_->get() : lyd_child(parent);
    lyd_node* found = nullptr;
    if (siblings != nullptr) lyd_find_sibling_val(siblings, schema, nullptr, 0, &found);
    return found;
  }

  /// A copy of an element of the edit: a leaf with its value, an entry with its keys, no more.
  lyd_node* Single(const lyd_node* edit) const {
    lyd_node* copy = nullptr;
    if (lyd_dup_single(edit, nullptr, LYD_DUP_NO_META, &copy) != LY_SUCCESS) {
      throw RpcError("application", "operation-failed", TakeErrors(context_)).At(PathOf(edit));
    }
    return copy;
  }

  lyd_node* Insert(lyd_node* node, lyd_node* parent) {
    const LY_ERR result = parent == nullptr ? InsertTop(node) : lyd_insert_child(parent, node);
    if (result == LY_SUCCESS) return node;
    lyd_free_tree(node);
    throw RpcError("application", "operation-failed", TakeErrors(context_));
  }

  LY_ERR InsertTop(lyd_node* node) {
    lyd_node* first = tree_->release();
    const LY_ERR result = lyd_insert_sibling(first, node, &first);
    tree_->reset(first);
    return result;
  }

  void Free(lyd_node* node) {
    if (node == tree_->get()) {
      lyd_node* rest = node->next;
      static_cast<void>(tree_->release());
      lyd_unlink_tree(node);
      tree_->reset(rest);
    }
    lyd_free_tree(node);
  }

  ly_ctx* context_;
  Tree* tree_;
  const lyd_node* edit_parent_ = nullptr;
};

}  // namespace

EditOperation ParseEditOperation(const char* name) {
  for (const NamedOperation& known : kOperations) {
    if (strcmp(name, known.name) == 0) return known.operation;
  }
  throw RpcError("protocol", "bad-attribute", std::string("there is no operation ") + name)
      .With("bad-attribute", "operation");
}

void ApplyEdit(ly_ctx* context, const lyd_node* edit, EditOperation operation, Tree* tree) {
  Editor(context, tree).ApplyAll(edit, operation, nullptr);
}

}  // namespace host
