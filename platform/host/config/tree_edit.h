// Changes of single nodes of a configuration that is not in force.
#pragma once

#include <libyang/libyang.h>

#include "config/yang_data.h"

namespace host {

/// A place among the entries of a list or leaf-list whose order counts.
struct Place {
  enum class Kind { kAny, kFirst, kLast, kBefore, kAfter };

  Kind kind = Kind::kAny;      ///< kAny is where the entry is, or the end for a new one.
  lyd_node* anchor = nullptr;  ///< The entry before or after which it is.
};

/// Keeps no state of its own. In all calls null as `parent` is the top of the tree.
class TreeEdit {
 public:
  /// `tree` outlives the object.
  explicit TreeEdit(Tree* tree) : tree_(tree) {}

  /// What stands below `parent`, the first of it.
  lyd_node* Children(const lyd_node* parent) const {
    return parent == nullptr ? tree_->get() : lyd_child(parent);
  }

  /// The element below `parent` that `node`, which is of another tree, stands for: the entry with
  /// its keys or value, else the element with any value. Null when it is not there.
  lyd_node* Find(const lyd_node* node, const lyd_node* parent) const;

  /// Adds a copy of `node` alone, an entry with its keys, and returns it. What other cases of its
  /// choices have goes. Throws Refusal.
  lyd_node* Add(const lyd_node* node, lyd_node* parent);

  /// Takes an element away.
  void Remove(lyd_node* node) { host::Remove(tree_, node); }

  /// Takes away what is to be replaced; an entry whose order counts keeps its place and its keys.
  /// Returns what is left of it, null for nothing.
  lyd_node* Clear(lyd_node* node);

  /// Moves an entry to its place.
  void Move(lyd_node* entry, const Place& place);

 private:
  void RemoveOtherCases(const lysc_node* element, const lyd_node* parent);

  Tree* tree_;
};

}  // namespace host
