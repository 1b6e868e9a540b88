#include "netconf/edit.h"

#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "netconf/edit_choice.h"
#include "netconf/edit_order.h"
#include "netconf/edit_refusal.h"
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

EditOperation OperationOf(const lyd_node* node, EditOperation inherited) {
  const lyd_meta* meta = lyd_find_meta(node->meta, nullptr, "ietf-netconf:operation");
  return meta == nullptr ? inherited : ParseEditOperation(lyd_get_meta_value(meta));
}

bool Removes(EditOperation operation) {
  return operation == EditOperation::kDelete || operation == EditOperation::kRemove;
}

/// One edit: where it stands and what it changes.
class Editor {
 public:
  Editor(ly_ctx* context, Tree* tree) : context_(context), tree_(tree) {}

  /// Applies `edit` and its siblings below `parent`, null at the top.
  void ApplyAll(const lyd_node* edit, EditOperation inherited, lyd_node* parent) {
    std::set<const lysc_node*> in_cases;
    for (; edit != nullptr; edit = edit->next) {
      if (edit->schema == nullptr) {
        RemoveByName(edit, parent);
      } else if (lysc_is_key(edit->schema)) {
        RequireOneKey(edit);
      } else {
        RequireConfiguration(edit);
        const EditOperation operation = OperationOf(edit, inherited);
        if (!Removes(operation)) RequireOneCase(edit, &in_cases);
        Apply(edit, operation, parent);
      }
    }
  }

 private:
  void Apply(const lyd_node* edit, EditOperation operation, lyd_node* parent) {
    lyd_node* found = Find(edit, parent);
    // What has only its default value is not there for whoever creates or deletes it.
    const bool exists = found != nullptr && (found->flags & LYD_DEFAULT) == 0;
    if (Removes(operation)) {
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
    if (operation == EditOperation::kNone) {
      if ((edit->schema->nodetype & kInner) != 0) Descend(edit, operation, found);
      return;
    }
    Put(edit, operation, found, parent);
  }

  /// Has an element stand where and as the edit wants it.
  void Put(const lyd_node* edit, EditOperation operation, lyd_node* found, lyd_node* parent) {
    const Place place = PlaceOf(edit, Children(parent));
    if (operation == EditOperation::kReplace && found != nullptr) found = Clear(found);
    if ((edit->schema->nodetype & kInner) == 0) {
      Move(place, SetTerm(edit, found, parent), parent);
      return;
    }
    lyd_node* target = found != nullptr ? found : Insert(Single(edit), parent);
    Move(place, target, parent);
    Descend(edit, operation, target);
  }

  void Move(const Place& place, lyd_node* entry, const lyd_node* parent) {
    MoveTo(place, entry);
    if (parent == nullptr) ReplaceFirst(lyd_first_sibling(entry));
  }

  /// Takes away what is replaced; an entry whose order counts keeps its place. Returns what is left
  /// of it, null for nothing.
  lyd_node* Clear(lyd_node* node) {
    if (!lysc_is_userordered(node->schema)) {
      Free(node);
      return nullptr;
    }
    lyd_free_meta_siblings(node->meta);
    lyd_node* next = nullptr;
    for (lyd_node* child = lyd_child_no_keys(node); child != nullptr; child = next) {
      next = child->next;
      lyd_free_tree(child);
    }
    return node;
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
    if (leaf == nullptr || leaf->nodetype != LYS_LEAF || !operation || !Removes(*operation)) {
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

  lyd_node* SetTerm(const lyd_node* edit, lyd_node* found, lyd_node* parent) {
    if (found == nullptr) return Insert(Single(edit), parent);
    const LY_ERR result = lyd_change_term(found, lyd_get_value(edit));
    if (result == LY_SUCCESS || result == LY_EEXIST || result == LY_ENOT) return found;
    throw RpcError("application", "invalid-value", TakeErrors(context_)).At(PathOf(edit));
  }

  /// What stands below `parent`, or at the top for null.
  lyd_node* Children(const lyd_node* parent) const {
    return parent == nullptr ? tree_->get() : lyd_child(parent);
  }

  /// The element of the tree that an element of the edit means; null when it is not there.
  lyd_node* Find(const lyd_node* edit, const lyd_node* parent) const {
    if ((edit->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) == 0) {
      return FindOnly(edit->schema, parent);
    }
    const lyd_node* siblings = Children(parent);
    lyd_node* found = nullptr;
    if (siblings != nullptr) lyd_find_sibling_first(siblings, edit, &found);
    return found;
  }

  /// The same for what there is one of, whatever its value is.
  lyd_node* FindOnly(const lysc_node* schema, const lyd_node* parent) const {
    const lyd_node* siblings = Children(parent);
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
    FreeOtherCases(node->schema, parent);
    const LY_ERR result = parent == nullptr ? InsertTop(node) : lyd_insert_child(parent, node);
    if (result == LY_SUCCESS) return node;
    lyd_free_tree(node);
    throw RpcError("application", "operation-failed", TakeErrors(context_));
  }

  LY_ERR InsertTop(lyd_node* node) {
    lyd_node* first = tree_->get();
    const LY_ERR result = lyd_insert_sibling(first, node, &first);
    ReplaceFirst(first);
    return result;
  }

  /// Takes note that the tree begins with another node.
  void ReplaceFirst(lyd_node* first) {
    static_cast<void>(tree_->release());
    tree_->reset(first);
  }

  /// Removes what an element's case of a choice excludes.
  void FreeOtherCases(const lysc_node* schema, const lyd_node* parent) {
    if (!IsInCase(schema)) return;
    lyd_node* next = nullptr;
    for (lyd_node* node = Children(parent); node != nullptr; node = next) {
      next = node->next;
      if (AreInTwoCases(schema, node->schema)) Free(node);
    }
  }

  void Free(lyd_node* node) {
    if (node == tree_->get()) ReplaceFirst(node->next);
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
