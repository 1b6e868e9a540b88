#include "netconf/access_changes.h"

#include <string>

#include "config/choices.h"
#include "config/entry_order.h"
#include "config/schema.h"
#include "config/system_nodes.h"
#include "config/yang_data.h"

namespace host {

namespace {

/// What has only its default value is not there.
bool IsThere(const lyd_node* node) { return node != nullptr && (node->flags & LYD_DEFAULT) == 0; }

bool IsOfSystem(const lyd_node* node) {
  return IsMarkedAsSystem(node) || Schema::IsSystemWritten(node->schema);
}

bool IsStructureOnly(const lyd_node* node) {
  return node->schema->nodetype == LYS_CONTAINER && (node->schema->flags & LYS_PRESENCE) == 0;
}

/// The same entry, or the same leaf or container whatever it has.
const lyd_node* Counterpart(const lyd_node* siblings, const lyd_node* node) {
  const bool is_entry = (node->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0;
  return is_entry ? FindSame(siblings, node) : FindFirst(siblings, node->schema);
}

/// Whether another case of a choice that a node is in stands among these siblings.
bool HasOtherCase(const lyd_node* siblings, const lysc_node* element) {
  if (!IsInCase(element)) return false;
  for (; siblings != nullptr; siblings = siblings->next) {
    if (AreInTwoCases(element, siblings->schema)) return true;
  }
  return false;
}

class Changes {
 public:
  explicit Changes(const Access& access) : access_(access) {}

  /// Checks siblings and all below them, given the first ones.
  void RequireSiblings(const lyd_node* before, const lyd_node* after) const {
    for (const lyd_node* node = before; node != nullptr; node = node->next) {
      if (Counterpart(after, node) != nullptr || IsOfSystem(node)) continue;
      if (!HasOtherCase(after, node->schema)) RequireGoing(node);
    }
    EntryOrder order(before, after);
    for (const lyd_node* node = after; node != nullptr; node = node->next) {
      if (IsOfSystem(node)) continue;
      const lyd_node* old = Counterpart(before, node);
      if (old == nullptr) {
        RequireComing(node);
      } else {
        if (lysc_is_userordered(node->schema) && order.HasMoved(old)) {
          Require(kUpdateAccess, "move", node);
        }
        RequireStaying(old, node);
      }
    }
  }

 private:
  void RequireGoing(const lyd_node* node) const {
    if (!IsStructureOnly(node) && IsThere(node)) Require(kDeleteAccess, "delete", node);
    RequireSiblings(lyd_child_no_keys(node), nullptr);
  }

  void RequireComing(const lyd_node* node) const {
    if (!IsStructureOnly(node) && IsThere(node)) Require(kCreateAccess, "create", node);
    RequireSiblings(nullptr, lyd_child_no_keys(node));
  }

  void RequireStaying(const lyd_node* old, const lyd_node* node) const {
    if ((node->schema->nodetype & LYD_NODE_TERM) == 0) {
      RequireSiblings(lyd_child_no_keys(old), lyd_child_no_keys(node));
    } else if (IsThere(old) != IsThere(node)) {
      IsThere(node) ? RequireComing(node) : RequireGoing(old);
    } else if (lyd_compare_single(old, node, 0) != LY_SUCCESS) {
      Require(kUpdateAccess, "change", node);
    }
  }

  void Require(AccessOp operation, const char* word, const lyd_node* node) const {
    if (access_.Permits(operation, {node->schema, node})) return;
    throw AccessDenied(std::string(word) + " " + NameOf(node), PathOf(node));
  }

  const Access& access_;
};

}  // namespace

void RequireChanges(const Access& access, const lyd_node* before, const lyd_node* after) {
  if (!access.MayWriteAll()) Changes(access).RequireSiblings(before, after);
}

}  // namespace host
