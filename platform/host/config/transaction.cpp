#include "config/transaction.h"

#include <utility>

#include "config/system_nodes.h"
#include "config/value.h"

namespace host {

namespace {

constexpr uint16_t kEntry = LYS_LIST | LYS_LEAFLIST;

std::string Quoted(const std::string& text) {
  if (text.find('"') == std::string::npos) return '"' + text + '"';
  if (text.find('\'') == std::string::npos) return '\'' + text + '\'';
  throw CallRefused(CONFD_ERR_BADTYPE, "a key with both kinds of quotes names no entry: " + text);
}

std::string Predicates(const lysc_node* element, const std::vector<std::string>& keys) {
  if (element->nodetype == LYS_LEAFLIST) {
    return keys.empty() ? "" : "[.=" + Quoted(keys.front()) + "]";
  }
  std::string predicates;
  const lysc_node* key = lysc_node_child(element);
  for (const std::string& text : keys) {
    predicates += std::string("[") + key->name + "=" + Quoted(text) + "]";
    key = key->next;
  }
  return predicates;
}

/// A path as libyang has it.
std::string DataPath(const Schema& schema, const std::string& path) {
  const std::vector<common::PathStep> steps = common::ParsePath(path);
  const SchemaPath elements = schema.Resolve(steps);
  std::string text;
  for (size_t i = 0; i < steps.size(); ++i) {
    if (steps[i].index.has_value()) {
      throw std::invalid_argument("path \"" + path + "\": a write needs keys, not positions");
    }
    text += std::string("/") + elements[i]->module->name + ":" + elements[i]->name +
            Predicates(elements[i], steps[i].keys);
  }
  return text;
}

[[noreturn]] void RefuseElement(const std::string& path, const std::string& reason) {
  throw std::invalid_argument("path \"" + path + "\": " + reason);
}

[[noreturn]] void Refuse(int code, const std::string& path, const std::string& reason) {
  throw CallRefused(code, "path \"" + path + "\": " + reason);
}

bool IsPresenceContainer(const lysc_node* element) {
  return element->nodetype == LYS_CONTAINER && (element->flags & LYS_PRESENCE) != 0;
}

/// The change of one node, within what it stands in.
std::vector<common::Change> ChangeOf(const Schema& schema, const lyd_node* node, confd_iter_op op) {
  std::vector<common::Change> changes;
  for (; node != nullptr; node = lyd_parent(node), op = MOP_MODIFIED) {
    common::Change change;
    change.tag = Schema::Tag(node->schema);
    change.ns = schema.NamespaceHash(node->schema);
    change.op = op;
    change.keys = EntryKeys(node);
    if (op == MOP_VALUE_SET) change.new_value = common::OwnedValue(TermValue(node));
    change.children = std::move(changes);
    changes.clear();
    changes.push_back(std::move(change));
  }
  return changes;
}

void FreeNode(Tree* tree, lyd_node* node) {
  if (node == tree->get()) {
    lyd_node* rest = node->next;
    static_cast<void>(tree->release());
    lyd_unlink_tree(node);
    tree->reset(rest);
  }
  lyd_free_tree(node);
}

}  // namespace

Transaction::Transaction(const Schema& schema, int handle, Tree candidate)
    : schema_(schema), handle_(handle), candidate_(std::move(candidate)) {}

Reader Transaction::Read() const {
  // The reader lives for one call only and owns nothing.
  return {schema_, SharedTree(SharedTree(), candidate_.get())};
}

std::vector<Transaction::Keys> Transaction::EntryKeys(const std::string& path) const {
  std::vector<Keys> entries;
  Reader reader = Read();
  for (const lyd_node* entry = reader.FirstEntry(path); entry != nullptr;
       entry = NextEntry(entry)) {
    entries.push_back(host::EntryKeys(entry));
  }
  return entries;
}

void Transaction::Create(const std::string& path) {
  const Reader::Place place = Read().Find(path);
  const bool is_entry = (place.element->nodetype & kEntry) != 0 && place.names_entry;
  if (!is_entry && !IsPresenceContainer(place.element)) {
    RefuseElement(path, "only entries and presence containers are created");
  }
  if (place.node != nullptr) Refuse(CONFD_ERR_ALREADY_EXISTS, path, "the element exists already");
  Note(Add(path, nullptr), MOP_CREATED);
}

void Transaction::Set(const std::string& path, const std::string& text) {
  const Reader::Place place = Read().Find(path);
  if (place.element->nodetype != LYS_LEAF || lysc_is_key(place.element)) {
    RefuseElement(path, "only leaves that are no keys are set");
  }
  if (!place.parent_exists) {
    Refuse(CONFD_ERR_NOEXISTS, path, "what the leaf stands in does not exist");
  }
  auto* leaf = const_cast<lyd_node*>(place.node);
  if (leaf == nullptr) {
    leaf = Add(path, text.c_str());
  } else {
    const LY_ERR result = lyd_change_term(leaf, text.c_str());
    // The value is as before, and explicit now (was so already).
    if (result != LY_SUCCESS && result != LY_EEXIST && result != LY_ENOT) {
      Refuse(CONFD_ERR_BADTYPE, path, TakeErrors(schema_.Context()));
    }
    MarkAsSystem(leaf);
  }
  Note(leaf, MOP_VALUE_SET);
}

/// Adds the node at a path, which is not there, and what is missing above it.
lyd_node* Transaction::Add(const std::string& path, const char* text) {
  lyd_node* first_added = nullptr;
  lyd_node* added = nullptr;
  const LY_ERR result =
      lyd_new_path2(candidate_.get(), schema_.Context(), DataPath(schema_, path).c_str(), text, 0,
                    LYD_ANYDATA_STRING, 0, &first_added, &added);
  if (result != LY_SUCCESS) Refuse(CONFD_ERR_BADTYPE, path, TakeErrors(schema_.Context()));
  candidate_.reset(lyd_first_sibling(candidate_ ? candidate_.release() : first_added));
  for (lyd_node* node = added;; node = lyd_parent(node)) {
    MarkAsSystem(node);
    if (node == first_added) return added;
  }
}

void Transaction::Delete(const std::string& path) {
  const Reader::Place place = Read().Find(path);
  if (lysc_is_key(place.element)) RefuseElement(path, "keys are deleted with their entry");
  if (place.element->nodetype == LYS_LIST && !place.names_entry) {
    RefuseElement(path, "a list is deleted entry by entry");
  }
  if (place.node == nullptr) Refuse(CONFD_ERR_NOEXISTS, path, "the element does not exist");
  const lyd_node* node = place.node;
  while (node != nullptr) {
    const lyd_node* next = place.names_entry ? nullptr : NextEntry(node);
    Note(node, MOP_DELETED);
    FreeNode(&candidate_, const_cast<lyd_node*>(node));
    node = next;
  }
}

void Transaction::Note(const lyd_node* node, confd_iter_op op) {
  has_written_ = true;
  if (schema_.CallpointAbove(node->schema) == nullptr) return;
  writes_.push_back(ChangeOf(schema_, node, op));
}

bool Transaction::TakeWrite(std::vector<common::Change>* change) {
  if (writes_.empty()) return false;
  *change = std::move(writes_.front());
  writes_.pop_front();
  return true;
}

}  // namespace host
