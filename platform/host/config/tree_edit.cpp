#include "config/tree_edit.h"

#include <utility>

#include "config/choices.h"

namespace host {

namespace {

lyd_node* LastOf(lyd_node* entry) {
  while (NextEntry(entry) != nullptr) entry = entry->next;
  return entry;
}

lyd_node* AnchorOf(const Place& place, lyd_node* entry) {
  switch (place.kind) {
    case Place::Kind::kFirst:
      return FindFirst(entry, entry->schema);
    case Place::Kind::kLast:
      return LastOf(entry);
    default:
      return place.anchor;
  }
}

}  // namespace

lyd_node* TreeEdit::Find(const lyd_node* node, const lyd_node* parent) const {
  const bool is_entry = (node->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0;
  return is_entry ? FindSame(Children(parent), node) : FindFirst(Children(parent), node->schema);
}

lyd_node* TreeEdit::Add(const lyd_node* node, lyd_node* parent) {
  Tree copy = CopyNode(node, LYD_DUP_NO_META);
  RemoveOtherCases(node->schema, parent);
  return Insert(tree_, parent, std::move(copy));
}

lyd_node* TreeEdit::Clear(lyd_node* node) {
  if (!lysc_is_userordered(node->schema)) {
    Remove(node);
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

void TreeEdit::Move(lyd_node* entry, const Place& place) {
  lyd_node* anchor = place.kind == Place::Kind::kAny ? entry : AnchorOf(place, entry);
  if (anchor == entry) return;
  const bool before = place.kind == Place::Kind::kFirst || place.kind == Place::Kind::kBefore;
  const LY_ERR result = before ? lyd_insert_before(anchor, entry) : lyd_insert_after(anchor, entry);
  if (result != LY_SUCCESS) throw TakeRefusal(entry->schema->module->ctx);
  // At the top another node may be the first now.
  if (lyd_parent(entry) == nullptr) {
    static_cast<void>(tree_->release());
    tree_->reset(lyd_first_sibling(entry));
  }
}

void TreeEdit::RemoveOtherCases(const lysc_node* element, const lyd_node* parent) {
  if (!IsInCase(element)) return;
  lyd_node* next = nullptr;
  for (lyd_node* node = Children(parent); node != nullptr; node = next) {
    next = node->next;
    if (AreInTwoCases(element, node->schema)) Remove(node);
  }
}

}  // namespace host
