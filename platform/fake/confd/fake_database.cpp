#include "confd/fake_database.h"

#include <algorithm>
#include <stdexcept>

#include "confd/value_text.h"

namespace fake {

namespace {

using common::PathStep;

bool IsEntryOf(const Node& node, const std::string& list) {
  return node.name == list && !node.keys.empty();
}

std::vector<Node>::iterator FindIndexed(Node* parent, const PathStep& step) {
  int left = *step.index;
  return std::find_if(parent->children.begin(), parent->children.end(), [&](const Node& child) {
    return IsEntryOf(child, step.name) && left-- == 0;
  });
}

/// The child that `step` names, or the end of the children.
std::vector<Node>::iterator FindChild(Node* parent, const PathStep& step) {
  if (step.index) return FindIndexed(parent, step);
  return std::find_if(parent->children.begin(), parent->children.end(), [&step](const Node& child) {
    return child.name == step.name && child.keys == step.keys;
  });
}

Node* FindNode(Node* node, const std::vector<PathStep>& steps) {
  for (const PathStep& step : steps) {
    const auto child = FindChild(node, step);
    if (child == node->children.end()) return nullptr;
    node = &*child;
  }
  return node;
}

Node* FindOrCreate(Node* node, const std::vector<PathStep>& steps) {
  for (const PathStep& step : steps) {
    auto child = FindChild(node, step);
    if (child == node->children.end()) {
      if (step.index) throw std::invalid_argument("no entry to create at an index: " + step.name);
      child = node->children.insert(child, Node{step.name, step.keys, false, {}, {}});
    }
    node = &*child;
  }
  return node;
}

/// The database knows no schema, so it knows the one leaf-list by its name.
bool IsLeafListEntry(const PathStep& step) {
  return step.name == "extraIpPorts" && !step.keys.empty();
}

/// Nor does it know the order of leaves, but for the one list whose entries are read as objects.
constexpr const char* kTargetLeaves[] = {"name", "vrf", "ip", "udp-port"};

/// The entries of a leaf-list as texts.
std::vector<std::string> Texts(const Node& leaf_list) {
  std::vector<std::string> texts;
  if (!leaf_list.value.IsSet()) return texts;
  const confd_list& list = leaf_list.value.Value().val.list;
  for (unsigned int i = 0; i < list.size; ++i) texts.push_back(common::ValueText(list.ptr[i]));
  return texts;
}

void SetTexts(Node* leaf_list, const std::vector<std::string>& texts) {
  std::vector<confd_value_t> elements;
  elements.reserve(texts.size());
  for (const std::string& text : texts) elements.push_back(common::MakeBuf(text));
  leaf_list->value = common::OwnedValue(common::MakeList(elements));
}

/// The leaf-list that `steps` name an entry of.
std::vector<PathStep> LeafListOf(std::vector<PathStep> steps) {
  steps.back().keys.clear();
  return steps;
}

/// Searches change nothing; only who holds a database that may be changed changes what is found.
Node* Mutable(const Node& root) { return const_cast<Node*>(&root); }

}  // namespace

Node Node::Copy() const {
  Node copy{name, keys, is_key, common::OwnedValue(common::CopyValue(value.Value())), {}};
  for (const Node& child : children) copy.children.push_back(child.Copy());
  return copy;
}

std::vector<common::OwnedValue> KeyValues(const Node& entry) {
  std::vector<common::OwnedValue> keys;
  for (const Node& child : entry.children) {
    if (child.is_key) keys.emplace_back(common::CopyValue(child.value.Value()));
  }
  if (!keys.empty()) return keys;
  for (const std::string& text : entry.keys) keys.emplace_back(common::MakeBuf(text));
  return keys;
}

Database Database::Copy() const {
  Database copy;
  copy.root_ = root_.Copy();
  return copy;
}

void Database::Set(const std::string& path, const confd_value_t& value) {
  common::OwnedValue owned(value);
  FindOrCreate(&root_, common::ParsePath(path))->value = std::move(owned);
}

void Database::AddEntry(const std::string& list_path, const std::vector<KeyLeaf>& key_leaves) {
  std::vector<PathStep> steps = common::ParsePath(list_path);
  for (const auto& [name, value] : key_leaves) {
    steps.back().keys.push_back(common::ValueText(value));
  }
  Node* entry = FindOrCreate(&root_, steps);
  for (const auto& [name, value] : key_leaves) {
    entry->children.push_back(Node{name, {}, true, common::OwnedValue(value), {}});
  }
}

bool Database::Create(const std::string& path) {
  const std::vector<PathStep> steps = common::ParsePath(path);
  if (!IsLeafListEntry(steps.back())) {
    if (FindNode(&root_, steps) != nullptr) return false;
    FindOrCreate(&root_, steps);
    return true;
  }
  Node* leaf_list = FindOrCreate(&root_, LeafListOf(steps));
  std::vector<std::string> texts = Texts(*leaf_list);
  const std::string& text = steps.back().keys[0];
  if (std::find(texts.begin(), texts.end(), text) != texts.end()) return false;
  texts.push_back(text);
  SetTexts(leaf_list, texts);
  return true;
}

bool Database::Remove(const std::string& path) {
  const std::vector<PathStep> steps = common::ParsePath(path);
  if (!IsLeafListEntry(steps.back())) {
    if (FindNode(&root_, steps) == nullptr) return false;
    Delete(path);
    return true;
  }
  Node* leaf_list = FindNode(&root_, LeafListOf(steps));
  if (leaf_list == nullptr) return false;
  std::vector<std::string> texts = Texts(*leaf_list);
  const auto entry = std::find(texts.begin(), texts.end(), steps.back().keys[0]);
  if (entry == texts.end()) return false;
  texts.erase(entry);
  SetTexts(leaf_list, texts);
  return true;
}

void Database::Delete(const std::string& path) {
  std::vector<PathStep> steps = common::ParsePath(path);
  const PathStep last = steps.back();
  steps.pop_back();
  Node* parent = FindNode(&root_, steps);
  if (parent == nullptr || FindChild(parent, last) == parent->children.end()) {
    throw std::out_of_range("nothing to delete at " + path);
  }
  const auto node = FindChild(parent, last);
  if (node->value.Value().type == C_LIST) {
    node->value = common::OwnedValue(common::MakeList({}));
  } else {
    parent->children.erase(node);
  }
}

const Node* Database::Find(const std::string& path) const {
  return FindNode(Mutable(root_), common::ParsePath(path));
}

std::vector<const Node*> Database::Way(const std::string& path) const {
  std::vector<const Node*> way;
  Node* node = Mutable(root_);
  for (const PathStep& step : common::ParsePath(path)) {
    const auto child = FindChild(node, step);
    if (child == node->children.end()) return {};
    node = &*child;
    way.push_back(node);
  }
  return way;
}

std::vector<confd_value_t> Database::LeafValues(const Node& entry) {
  if (entry.name != "target") throw std::invalid_argument("unknown leaves of " + entry.name);
  std::vector<confd_value_t> values;
  for (const std::string leaf : kTargetLeaves) {
    const auto found = std::find_if(entry.children.begin(), entry.children.end(),
                                    [&leaf](const Node& child) { return child.name == leaf; });
    values.push_back(found == entry.children.end() ? confd_value_t{C_NOEXISTS, {}}
                                                   : found->value.Value());
  }
  return values;
}

int Database::Instances(const std::string& path) const {
  return static_cast<int>(Entries(path).size());
}

std::vector<const Node*> Database::Entries(const std::string& path) const {
  std::vector<PathStep> steps = common::ParsePath(path);
  const std::string list = steps.back().name;
  steps.pop_back();
  std::vector<const Node*> entries;
  const Node* parent = FindNode(Mutable(root_), steps);
  if (parent == nullptr) return entries;
  for (const Node& child : parent->children) {
    if (IsEntryOf(child, list)) entries.push_back(&child);
  }
  return entries;
}

}  // namespace fake
