#include "config/reader.h"

#include <stdexcept>
#include <utility>

#include "config/value.h"

namespace host {

namespace {

[[noreturn]] void Refuse(const ModelPath& path, const std::string& reason) {
  throw std::invalid_argument("path \"" + path.text + "\": \"" + path.Element()->name + "\" " +
                              reason);
}

/// What libyang looks a list's entry up by. Keys hold no double quotes, our models see to that;
/// one that does is nobody's, and so has no text.
std::string KeyPredicate(const lysc_node* list, const std::vector<std::string>& keys) {
  std::string predicate;
  const lysc_node* key = lysc_node_child(list);
  for (const std::string& value : keys) {
    if (value.find('"') != std::string::npos) return "";
    predicate += std::string("[") + key->name + "=\"" + value + "\"]";
    key = key->next;
  }
  return predicate;
}

bool HasKeys(const lyd_node* entry, const std::vector<std::string>& keys) {
  const lyd_node* key = lyd_child(entry);
  for (const std::string& value : keys) {
    if (value != lyd_get_value(key)) return false;
    key = key->next;
  }
  return true;
}

/// An entry by its keys. libyang's search finds nothing, too, when some of its memory is refused,
/// so what it does not find is looked for without any.
const lyd_node* FindEntry(const lyd_node* siblings, const lysc_node* list,
                          const std::vector<std::string>& keys) {
  const std::string predicate = KeyPredicate(list, keys);
  if (predicate.empty()) return nullptr;
  const lyd_node* entry = FindValue(siblings, list, &predicate);
  if (entry != nullptr) return entry;
  entry = FindFirst(siblings, list);
  while (entry != nullptr && !HasKeys(entry, keys)) entry = NextEntry(entry);
  return entry;
}

/// Fills `count` values with the children of `parent`; returns how many its schema has.
int ReadChildren(const Schema& schema, const lyd_node* parent, confd_value_t* values, int count) {
  int children = 0;
  const lysc_node* element = nullptr;
  while ((element = lys_getnext(element, parent->schema, nullptr, 0)) != nullptr) {
    if (children < count) values[children] = ChildValue(schema, parent, element);
    ++children;
  }
  for (int i = children; i < count; ++i) values[i] = {C_NOEXISTS, {}};
  return children;
}

}  // namespace

Reader::Reader(const Schema& schema, SharedTree tree) : schema_(&schema), tree_(std::move(tree)) {}

confd_value_t Reader::Get(const std::string& text) {
  const ModelPath path = ParseModelPath(*schema_, text);
  const Place place = Find(path);
  if (path.Element()->nodetype == LYS_LEAFLIST && !path.NamesEntry() && place.parent_exists) {
    return LeafListValue(place.node);
  }
  if ((path.Element()->nodetype & (LYS_LEAF | LYS_LEAFLIST)) == 0) {
    Refuse(path, "is no leaf and has no value");
  }
  return place.node == nullptr ? confd_value_t{C_NOEXISTS, {}} : TermValue(place.node);
}

int Reader::GetObject(const std::string& text, confd_value_t* values, int count) {
  const ModelPath path = ParseModelPath(*schema_, text);
  const Place place = Find(path);
  const bool is_entry = path.Element()->nodetype == LYS_LIST && path.NamesEntry();
  if (!is_entry && path.Element()->nodetype != LYS_CONTAINER) {
    Refuse(path, "is neither an entry nor a container");
  }
  return place.node == nullptr ? 0 : ReadChildren(*schema_, place.node, values, count);
}

int Reader::GetObjects(const std::string& path, int index, int objects, confd_value_t* values,
                       int count) {
  const lyd_node* entry = AtIndex(FirstEntry(path), index);
  int children = 0;
  for (int i = 0; i < objects && entry != nullptr; ++i) {
    children = ReadChildren(*schema_, entry, values + static_cast<ptrdiff_t>(i) * count, count);
    entry = NextEntry(entry);
  }
  return children;
}

const lyd_node* Reader::FirstEntry(const std::string& text) {
  const ModelPath path = ParseModelPath(*schema_, text);
  if ((path.Element()->nodetype & (LYS_LIST | LYS_LEAFLIST)) == 0 || path.NamesEntry()) {
    Refuse(path, "is no list");
  }
  return Find(path).node;
}

int Reader::Count(const std::string& path) {
  int count = 0;
  for (const lyd_node* entry = FirstEntry(path); entry != nullptr; entry = NextEntry(entry)) {
    ++count;
  }
  return count;
}

Reader::Place Reader::Find(const ModelPath& path) {
  Place place;
  const lyd_node* siblings = tree_.get();
  for (size_t i = 0; i < path.steps.size(); ++i) {
    place.parent_exists = i == 0 || place.node != nullptr;
    place.node = FindStep(siblings, path.steps[i], path.elements[i]);
    siblings = lyd_child(place.node);
  }
  return place;
}

const lyd_node* Reader::FindStep(const lyd_node* siblings, const common::PathStep& step,
                                 const lysc_node* element) {
  if (step.index.has_value()) return AtIndex(FindValue(siblings, element, nullptr), *step.index);
  if (step.keys.empty()) return FindValue(siblings, element, nullptr);
  if (element->nodetype == LYS_LEAFLIST) return FindValue(siblings, element, &step.keys.front());
  return FindEntry(siblings, element, step.keys);
}

const lyd_node* Reader::AtIndex(const lyd_node* first, int index) {
  if (first == nullptr) return nullptr;
  if (last_.first != first || index < last_.index) last_ = {first, first, 0};
  while (last_.index < index) {
    const lyd_node* next = NextEntry(last_.entry);
    if (next == nullptr) return nullptr;
    last_ = {first, next, last_.index + 1};
  }
  return last_.entry;
}

}  // namespace host
