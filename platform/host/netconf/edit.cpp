#include "netconf/edit.h"

#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "config/default_mark.h"
#include "config/system_nodes.h"
#include "config/tree_edit.h"
#include "netconf/defaults.h"
#include "netconf/edit_choice.h"
#include "netconf/edit_order.h"
#include "netconf/edit_refusal.h"
#include "netconf/rpc_error.h"

namespace host {

namespace {

struct NamedOperation {
  const char* name;
  EditOperation operation;
};

constexpr NamedOperation kOperations[] = {
    {"merge", EditOperation::kMerge},   {"replace", EditOperation::kReplace},
    {"create", EditOperation::kCreate}, {"delete", EditOperation::kDelete},
    {"remove", EditOperation::kRemove}, {"none", EditOperation::kNone},
};

/// An attribute of an element that libyang could not take as one of the models; null for none.
const char* OwnAttribute(const lyd_node* edit, const char* name) {
  const auto* opaque = reinterpret_cast<const lyd_node_opaq*>(edit);
  const lyd_attr* attribute = opaque->attr;
  while (attribute != nullptr && strcmp(attribute->name.name, name) != 0) {
    attribute = attribute->next;
  }
  return attribute == nullptr ? nullptr : attribute->value;
}

/// The operation that such an element says itself.
std::optional<EditOperation> OwnOperation(const lyd_node* edit) {
  const char* operation = OwnAttribute(edit, "operation");
  if (operation == nullptr) return std::nullopt;
  return ParseEditOperation(operation);
}

EditOperation OperationOf(const lyd_node* node, EditOperation inherited) {
  const lyd_meta* meta = FindMeta(node, "ietf-netconf", "operation");
  return meta == nullptr ? inherited : ParseEditOperation(lyd_get_meta_value(meta));
}

bool Removes(EditOperation operation) {
  return operation == EditOperation::kDelete || operation == EditOperation::kRemove;
}

bool IsInner(const lyd_node* node) {
  return (node->schema->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0;
}

/// What has only its default value is not there for whoever creates or deletes it.
bool IsThere(const lyd_node* node) { return node != nullptr && (node->flags & LYD_DEFAULT) == 0; }

RpcError Missing(const lyd_node* edit) {
  return RpcError("application", "data-missing", std::string(NameOf(edit)) + " does not exist")
      .At(PathOf(edit));
}

/// What the operations of one edit mean.
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
        RequireOnce(edit);
      } else if (!IsMarkedAsSystem(edit)) {  // The system makes its own anew.
        RequireConfiguration(edit);
        RequireOnce(edit);
        const EditOperation operation = OperationOf(edit, inherited);
        if (!Removes(operation)) RequireOneCase(edit, &in_cases);
        Apply(edit, operation, parent);
      }
    }
  }

 private:
  void Apply(const lyd_node* edit, EditOperation operation, lyd_node* parent) {
    lyd_node* found = tree_.Find(edit, parent);
    const bool is_default = IsMarkedAsDefault(edit);
    if (is_default) RequireDefault(edit, !Removes(operation) && operation != EditOperation::kNone);
    if (Removes(operation)) {
      Remove(edit, operation, found);
      return;
    }
    if (IsThere(found) && operation == EditOperation::kCreate) {
      throw RpcError("application", "data-exists", std::string(NameOf(edit)) + " exists already")
          .At(PathOf(edit));
    }
    if (is_default) {
      Remove(edit, EditOperation::kRemove, found);
      return;
    }
    if (operation != EditOperation::kNone) {
      Put(edit, operation, found, parent);
      return;
    }
    if (found == nullptr) throw Missing(edit);
    if (IsInner(edit)) Descend(edit, operation, found);
  }

  /// Has an element stand where and as the edit wants it.
  void Put(const lyd_node* edit, EditOperation operation, lyd_node* found, lyd_node* parent) {
    const Place place = PlaceOf(edit, tree_.Children(parent));
    if (operation == EditOperation::kReplace && found != nullptr) found = tree_.Clear(found);
    lyd_node* target = found != nullptr ? found : AddCopy(edit, parent);
    if (found != nullptr && !IsInner(edit)) Set(edit, found);
    tree_.Move(target, place);
    if (IsInner(edit)) Descend(edit, operation, target);
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
    const bool is_deletion = operation && Removes(*operation) && !OwnAttribute(edit, "default");
    if (leaf == nullptr || leaf->nodetype != LYS_LEAF || !is_deletion) {
      RefuseOpaque(context_, edit, edit_parent_);
    }
    RequireAlone(edit, leaf);
    Remove(edit, *operation, FindFirst(tree_.Children(parent), leaf));
  }

  void Remove(const lyd_node* edit, EditOperation operation, lyd_node* found) {
    if (IsThere(found)) {
      tree_.Remove(found);
    } else if (operation == EditOperation::kDelete) {
      throw Missing(edit);
    }
  }

  lyd_node* AddCopy(const lyd_node* edit, lyd_node* parent) {
    try {
      return tree_.Add(edit, parent);
    } catch (const Refusal& refusal) {
      throw RpcError("application", refusal).At(PathOf(edit));
    }
  }

  static void Set(const lyd_node* edit, lyd_node* found) {
    try {
      SetValue(found, lyd_get_value(edit));
    } catch (const Refusal& refusal) {
      throw RpcError("application", refusal).At(PathOf(edit));
    }
  }

  ly_ctx* context_;
  TreeEdit tree_;
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
