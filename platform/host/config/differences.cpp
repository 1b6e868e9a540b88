#include "config/differences.h"

#include <utility>

#include "config/entry_order.h"
#include "config/value.h"
#include "config/yang_data.h"

namespace host {

namespace {

using common::Change;
using common::OwnedValue;

/// Finds nodes of one tree among the siblings of the other. Both mostly have the same order, so
/// the place behind the last one found is looked at first.
class Counterparts {
 public:
  explicit Counterparts(const lyd_node* siblings) : siblings_(siblings), next_(siblings) {}

  /// The leaf, container or entry that is the same element as `node`, or null.
  const lyd_node* Of(const lyd_node* node) {
    const bool is_next = next_ != nullptr && IsSameElement(next_, node);
    const lyd_node* found = is_next ? next_ : FindSame(siblings_, node);
    if (found != nullptr) next_ = found->next;
    return found;
  }

  /// The first entry of a leaf-list, or null.
  const lyd_node* FirstOf(const lysc_node* leaf_list) const {
    return FindFirst(siblings_, leaf_list);
  }

 private:
  static bool IsSameElement(const lyd_node* a, const lyd_node* b) {
    if (a->schema != b->schema) return false;
    return a->schema->nodetype != LYS_LIST || lyd_compare_single(a, b, 0) == LY_SUCCESS;
  }

  const lyd_node* siblings_;
  const lyd_node* next_;
};

/// True for a leaf-list's entry unless another one stands before it; all of them stand together.
bool IsFirstEntry(const lyd_node* node) {
  return node->prev->next == nullptr || node->prev->schema != node->schema;
}

bool IsEntryOf(const lysc_node* leaf_list, const lyd_node* node) {
  return node != nullptr && node->schema == leaf_list;
}

/// True when two leaf-lists have the same entries, given the first ones; neither is empty.
bool HaveSameEntries(const lyd_node* a, const lyd_node* b) {
  const lysc_node* leaf_list = a->schema;
  const lyd_node* first_of_a = a;
  bool same_order = true;
  while (IsEntryOf(leaf_list, a) && IsEntryOf(leaf_list, b)) {
    same_order = same_order && lyd_compare_single(a, b, 0) == LY_SUCCESS;
    if (!same_order) {
      if (lysc_is_userordered(leaf_list)) return false;
      if (FindSame(first_of_a, b) == nullptr) return false;
    }
    a = a->next;
    b = b->next;
  }
  return !IsEntryOf(leaf_list, a) && !IsEntryOf(leaf_list, b);
}

class Comparison {
 public:
  explicit Comparison(const Schema& schema) : schema_(schema) {}

  /// The changes among siblings, given the first ones.
  std::vector<Change> Siblings(const lyd_node* old_first, const lyd_node* new_first) const {
    std::vector<Change> changes;
    Counterparts in_new(new_first);
    for (const lyd_node* node = old_first; node != nullptr; node = node->next) {
      AddIfGone(node, &in_new, &changes);
    }
    Counterparts in_old(old_first);
    EntryOrder order(old_first, new_first);
    for (const lyd_node* node = new_first; node != nullptr; node = node->next) {
      AddIfNewOrOther(node, &in_old, &order, &changes);
    }
    return changes;
  }

 private:
  void AddIfGone(const lyd_node* node, Counterparts* in_new, std::vector<Change>* changes) const {
    const lysc_node* element = node->schema;
    if (element->nodetype == LYS_LEAFLIST) {
      if (IsFirstEntry(node) && in_new->FirstOf(element) == nullptr) {
        AddLeafList(element, node, nullptr, changes);
      }
      return;
    }
    if (in_new->Of(node) != nullptr) return;
    if (element->nodetype == LYS_LEAF) {
      Add(element, MOP_DELETED, changes)->old_value = OwnedValue(TermValue(node));
    } else if (IsStructureOnly(element)) {
      std::vector<Change> below = Siblings(lyd_child(node), nullptr);
      if (!below.empty()) AddModified(node, std::move(below), changes);
    } else {
      Add(element, MOP_DELETED, changes)->keys = EntryKeys(node);
    }
  }

  void AddIfNewOrOther(const lyd_node* node, Counterparts* in_old, EntryOrder* order,
                       std::vector<Change>* changes) const {
    const lysc_node* element = node->schema;
    if (element->nodetype == LYS_LEAFLIST) {
      if (!IsFirstEntry(node)) return;
      const lyd_node* old = in_old->FirstOf(element);
      if (old == nullptr || !HaveSameEntries(old, node)) AddLeafList(element, old, node, changes);
      return;
    }
    const lyd_node* old = in_old->Of(node);
    if (element->nodetype == LYS_LEAF) {
      AddIfOtherValue(old, node, changes);
    } else if (old != nullptr || IsStructureOnly(element)) {
      std::vector<Change> below = Siblings(lyd_child_no_keys(old), lyd_child_no_keys(node));
      const bool moved = lysc_is_userordered(element) && order->HasMoved(old);
      if (moved || !below.empty()) AddModified(node, std::move(below), changes);
    } else {
      Change* change = Add(element, MOP_CREATED, changes);
      change->keys = EntryKeys(node);
      change->children = Siblings(nullptr, lyd_child_no_keys(node));
    }
  }

  void AddIfOtherValue(const lyd_node* old, const lyd_node* node,
                       std::vector<Change>* changes) const {
    if (old != nullptr && lyd_compare_single(old, node, 0) == LY_SUCCESS) return;
    Change* change = Add(node->schema, MOP_VALUE_SET, changes);
    if (old != nullptr) change->old_value = OwnedValue(TermValue(old));
    change->new_value = OwnedValue(TermValue(node));
  }

  void AddModified(const lyd_node* node, std::vector<Change> children,
                   std::vector<Change>* changes) const {
    Change* change = Add(node->schema, MOP_MODIFIED, changes);
    change->keys = EntryKeys(node);
    change->children = std::move(children);
  }

  void AddLeafList(const lysc_node* element, const lyd_node* old, const lyd_node* now,
                   std::vector<Change>* changes) const {
    Change* change = Add(element, MOP_VALUE_SET, changes);
    change->old_value = OwnedValue(LeafListValue(old));
    change->new_value = OwnedValue(LeafListValue(now));
  }

  Change* Add(const lysc_node* element, confd_iter_op op, std::vector<Change>* changes) const {
    Change& change = changes->emplace_back();
    change.tag = Schema::Tag(element);
    change.ns = schema_.NamespaceHash(element);
    change.op = op;
    return &change;
  }

  /// True for a container that is there whenever its parent is, and so neither comes nor goes.
  static bool IsStructureOnly(const lysc_node* element) {
    return element->nodetype == LYS_CONTAINER && (element->flags & LYS_PRESENCE) == 0;
  }

  const Schema& schema_;
};

}  // namespace

std::vector<Change> Differences(const Schema& schema, const lyd_node* old_tree,
                                const lyd_node* new_tree) {
  return Comparison(schema).Siblings(old_tree, new_tree);
}

}  // namespace host
