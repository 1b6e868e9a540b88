#include "config/system_nodes.h"

#include <string>

#include "config/schema.h"

namespace host {

namespace {

constexpr char kMark[] = "snmp-app-platform:written-by";

const lyd_meta* FindMark(const lyd_node* node) {
  return FindMeta(node, "snmp-app-platform", "written-by");
}

bool IsInner(const lyd_node* node) {
  return (node->schema->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0;
}

bool HasValue(const lyd_node* leaf) { return leaf != nullptr && (leaf->flags & LYD_DEFAULT) == 0; }

[[noreturn]] void RefuseWrite(const lyd_node* leaf) {
  const std::string path = PathOf(leaf);
  throw Refusal(kNotTaken, path,
                path + ": only the system writes \"" + NameOf(leaf) + "\"; leave it out");
}

void CheckLeaf(const lyd_node* old, const lyd_node* leaf) {
  if (!Schema::IsSystemWritten(leaf->schema) || !HasValue(leaf)) return;
  if (!HasValue(old) || lyd_compare_single(old, leaf, 0) != LY_SUCCESS) RefuseWrite(leaf);
}

/// `parent` is the candidate's counterpart of what the siblings stand in, null at the top.
void CarryOver(const lyd_node* running, lyd_node* candidate, lyd_node* parent) {
  for (const lyd_node* node = running; node != nullptr; node = node->next) {
    const bool is_system = IsMarkedAsSystem(node) || Schema::IsSystemWritten(node->schema);
    if (!is_system && !IsInner(node)) continue;
    lyd_node* found = FindSame(candidate, node);
    if (found != nullptr && IsInner(node)) {
      CarryOver(lyd_child_no_keys(node), lyd_child(found), found);
    } else if (found == nullptr && is_system && parent != nullptr) {
      const uint32_t options = LYD_DUP_RECURSIVE | LYD_DUP_WITH_FLAGS;
      if (lyd_dup_single(node, reinterpret_cast<lyd_node_inner*>(parent), options, nullptr) !=
          LY_SUCCESS) {
        throw TakeRefusal(node->schema->module->ctx);
      }
      candidate = lyd_child(parent);
    }
  }
}

void DropMarked(Tree* tree, lyd_node* siblings) {
  for (lyd_node *node = siblings, *next = nullptr; node != nullptr; node = next) {
    next = node->next;
    if (IsMarkedAsSystem(node)) {
      Remove(tree, node);
    } else if (IsInner(node)) {
      DropMarked(tree, lyd_child(node));
    }
  }
}

}  // namespace

bool IsMarkedAsSystem(const lyd_node* node) { return FindMark(node) != nullptr; }

void MarkAsSystem(lyd_node* node) {
  if (IsMarkedAsSystem(node)) return;
  const ly_ctx* context = node->schema->module->ctx;
  if (lyd_new_meta(context, node, nullptr, kMark, "system", 0, nullptr) != LY_SUCCESS) {
    throw TakeRefusal(node->schema->module->ctx);
  }
}

void DropMarked(Tree* tree) { DropMarked(tree, tree->get()); }

void RefuseOperatorWrites(const lyd_node* running, const lyd_node* candidate) {
  for (const lyd_node* node = candidate; node != nullptr; node = node->next) {
    if (IsInner(node)) {
      const lyd_node* old = FindSame(running, node);
      RefuseOperatorWrites(lyd_child(old), lyd_child_no_keys(node));
    } else if (Schema::IsSystemWritten(node->schema)) {
      CheckLeaf(FindSame(running, node), node);
    }
  }
}

void CarryOverSystemNodes(const lyd_node* running, const Tree& candidate) {
  CarryOver(running, candidate.get(), nullptr);
}

}  // namespace host
