#include "config/transaction.h"

#include <stdexcept>
#include <utility>

#include "config/system_nodes.h"
#include "config/value.h"

namespace host {

namespace {

constexpr uint16_t kEntry = LYS_LIST | LYS_LEAFLIST;

[[noreturn]] void RefuseElement(const ModelPath& path, const std::string& reason) {
  throw std::invalid_argument("path \"" + path.text + "\": " + reason);
}

[[noreturn]] void Refuse(int code, const ModelPath& path, const std::string& reason) {
  throw CallRefused(code, "path \"" + path.text + "\": " + reason);
}

void ChangeValue(const ModelPath& path, lyd_node* leaf, const char* value) {
  try {
    SetValue(leaf, value);
  } catch (const Refusal& refusal) {
    Refuse(CONFD_ERR_BADTYPE, path, refusal.what());
  }
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

void Transaction::Create(const std::string& text) {
  const ModelPath path = ParseModelPath(schema_, text);
  const Reader::Place place = Read().Find(path);
  const bool is_entry = (path.Element()->nodetype & kEntry) != 0 && path.NamesEntry();
  if (!is_entry && !IsPresenceContainer(path.Element())) {
    RefuseElement(path, "only entries and presence containers are created");
  }
  if (place.node != nullptr) Refuse(CONFD_ERR_ALREADY_EXISTS, path, "the element exists already");
  Note(Add(path, nullptr), MOP_CREATED);
}

void Transaction::Set(const std::string& path_text, const std::string& value) {
  const ModelPath path = ParseModelPath(schema_, path_text);
  const Reader::Place place = Read().Find(path);
  if (path.Element()->nodetype != LYS_LEAF || lysc_is_key(path.Element())) {
    RefuseElement(path, "only leaves that are no keys are set");
  }
  if (!place.parent_exists) {
    Refuse(CONFD_ERR_NOEXISTS, path, "what the leaf stands in does not exist");
  }
  auto* leaf = const_cast<lyd_node*>(place.node);
  if (leaf == nullptr) {
    leaf = Add(path, value.c_str());
  } else {
    ChangeValue(path, leaf, value.c_str());
    MarkAsSystem(leaf);
  }
  Note(leaf, MOP_VALUE_SET);
}

/// Adds the node at a path, which is not there, and what is missing above it.
lyd_node* Transaction::Add(const ModelPath& path, const char* text) {
  lyd_node* first_added = nullptr;
  lyd_node* added = nullptr;
  const LY_ERR result = lyd_new_path2(candidate_.get(), schema_.Context(), DataPath(path).c_str(),
                                      text, 0, LYD_ANYDATA_STRING, 0, &first_added, &added);
  if (result != LY_SUCCESS) {
    const Refusal refusal = TakeRefusal(schema_.Context());
    Refuse(CONFD_ERR_BADTYPE, path, refusal.what());
  }
  candidate_.reset(lyd_first_sibling(candidate_ ? candidate_.release() : first_added));
  for (lyd_node* node = added;; node = lyd_parent(node)) {
    MarkAsSystem(node);
    if (node == first_added) return added;
  }
}

void Transaction::Delete(const std::string& text) {
  const ModelPath path = ParseModelPath(schema_, text);
  const Reader::Place place = Read().Find(path);
  if (lysc_is_key(path.Element())) RefuseElement(path, "keys are deleted with their entry");
  if (path.Element()->nodetype == LYS_LIST && !path.NamesEntry()) {
    RefuseElement(path, "a list is deleted entry by entry");
  }
  if (place.node == nullptr) Refuse(CONFD_ERR_NOEXISTS, path, "the element does not exist");
  const lyd_node* node = place.node;
  while (node != nullptr) {
    const lyd_node* next = path.NamesEntry() ? nullptr : NextEntry(node);
    Note(node, MOP_DELETED);
    Remove(&candidate_, const_cast<lyd_node*>(node));
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
