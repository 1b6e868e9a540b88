#include "confd/fake_differences.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "confd/fake_tags.h"
#include "confd/value_text.h"

namespace fake {

namespace {

using common::Change;
using common::OwnedValue;

const Node* Counterpart(const Node* parent, const Node& node) {
  if (parent == nullptr) return nullptr;
  const auto found = std::find_if(
      parent->children.begin(), parent->children.end(),
      [&node](const Node& other) { return other.name == node.name && other.keys == node.keys; });
  return found == parent->children.end() ? nullptr : &*found;
}

bool IsSame(const OwnedValue& a, const OwnedValue& b) {
  return a.Value().type == b.Value().type &&
         common::ValueText(a.Value()) == common::ValueText(b.Value());
}

/// A change of `node`, which is there before or after, without its kind.
Change MakeChange(const Node& node) {
  Change change;
  change.tag = Tags().Hash(node.name);
  change.keys = KeyValues(node);
  return change;
}

std::optional<Change> LeafChange(const Node* before, const Node* after) {
  if (before != nullptr && after != nullptr && IsSame(before->value, after->value)) {
    return std::nullopt;
  }
  Change change = MakeChange(after != nullptr ? *after : *before);
  change.op = after != nullptr ? MOP_VALUE_SET : MOP_DELETED;
  if (before != nullptr) change.old_value = OwnedValue(common::CopyValue(before->value.Value()));
  if (after != nullptr) change.new_value = OwnedValue(common::CopyValue(after->value.Value()));
  return change;
}

std::vector<Change> ChildChanges(const Node* before, const Node* after);

std::optional<Change> NodeChange(const Node* before, const Node* after) {
  const Node& node = after != nullptr ? *after : *before;
  if (node.is_key) return std::nullopt;
  if (node.value.IsSet()) return LeafChange(before, after);
  Change change = MakeChange(node);
  if (!node.keys.empty() && before == nullptr) change.op = MOP_CREATED;
  if (!node.keys.empty() && after == nullptr) change.op = MOP_DELETED;
  if (change.op != MOP_DELETED) change.children = ChildChanges(before, after);
  if (change.op == MOP_MODIFIED && change.children.empty()) return std::nullopt;
  return change;
}

std::vector<Change> ChildChanges(const Node* before, const Node* after) {
  std::vector<Change> changes;
  const auto add = [&changes](std::optional<Change> change) {
    if (change) changes.push_back(*std::move(change));
  };
  if (before != nullptr) {
    for (const Node& child : before->children) {
      if (Counterpart(after, child) == nullptr) add(NodeChange(&child, nullptr));
    }
  }
  if (after != nullptr) {
    for (const Node& child : after->children) add(NodeChange(Counterpart(before, child), &child));
  }
  return changes;
}

}  // namespace

std::vector<Change> ChangeAt(const Database& database, const std::string& path, confd_iter_op op) {
  const std::vector<const Node*> way = database.Way(path);
  std::vector<Change> changes;
  for (auto node = way.rbegin(); node != way.rend(); ++node) {
    Change change = MakeChange(**node);
    change.op = node == way.rbegin() ? op : MOP_MODIFIED;
    if (change.op == MOP_VALUE_SET) {
      change.new_value = OwnedValue(common::CopyValue((*node)->value.Value()));
    }
    change.children = std::move(changes);
    changes.clear();
    changes.push_back(std::move(change));
  }
  return changes;
}

std::vector<Change> Differences(const Database& before, const Database& after) {
  return ChildChanges(&before.Root(), &after.Root());
}

}  // namespace fake
