// One configuration in memory: a tree of elements, addressed by ConfD's path text.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "confd/path_text.h"
#include "confd_lib.h"
#include "delivery/change.h"

namespace fake {

/// A container or list entry with its children, or a leaf with its value. A leaf-list is one leaf
/// with a C_LIST.
struct Node {
  Node Copy() const;

  std::string name;
  std::vector<std::string> keys;  ///< Of a list entry, as texts; else empty.
  bool is_key = false;            ///< A leaf that is a key of its entry.
  common::OwnedValue value;       ///< Of a leaf.
  std::vector<Node> children;
};

/// The keys of a list entry as their leaves have them, as text where it has no leaves for them.
std::vector<common::OwnedValue> KeyValues(const Node& entry);

/// Paths are given as "/mod:a/b{key}/c" or "/a/b[index]/c"; module prefixes are dropped. All
/// operations throw std::invalid_argument for a text that is no path.
class Database {
 public:
  using KeyLeaf = std::pair<std::string, confd_value_t>;

  Database Copy() const;

  /// Gives the leaf at `path` a value, which is taken over. What is missing above it is created; an
  /// entry created so has its keys as text and no leaves for them.
  void Set(const std::string& path, const confd_value_t& value);

  /// Creates an entry of the list at `list_path` with the key leaves given by name and value, which
  /// are taken over.
  void AddEntry(const std::string& list_path, const std::vector<KeyLeaf>& key_leaves);

  /// Removes the element at `path`; a leaf-list becomes empty. Throws std::out_of_range when there
  /// is none.
  void Delete(const std::string& path);

  /// Creates the entry of a list or leaf-list that `path` ends with, and what is missing above it.
  /// An entry of a list gets no leaves. False when it is there already.
  bool Create(const std::string& path);

  /// Deletes the element or the entry of a leaf-list at `path`. False when it is not there.
  bool Remove(const std::string& path);

  /// The element at `path`, null when there is none. Stays the database's.
  const Node* Find(const std::string& path) const;

  /// The elements from the outermost one to the one at `path`; empty when that is not there.
  std::vector<const Node*> Way(const std::string& path) const;

  /// Number of entries of the list at `path`.
  int Instances(const std::string& path) const;

  /// The entries of the list at `path`, in order; they stay the database's.
  std::vector<const Node*> Entries(const std::string& path) const;

  /// The values of an entry's leaves in the order that the schema of its list has them, C_NOEXISTS
  /// for those that it lacks. They stay the database's. Throws std::invalid_argument for a list
  /// whose leaves are not known here.
  static std::vector<confd_value_t> LeafValues(const Node& entry);

  const Node& Root() const { return root_; }

 private:
  Node root_;
};

}  // namespace fake
