// Reading one configuration by ConfD's paths.
#pragma once

#include <string>

#include "confd_lib.h"
#include "config/model_path.h"
#include "config/schema.h"
#include "config/tree.h"

namespace host {

class Reader {
 public:
  /// What a path leads to.
  struct Place {
    bool parent_exists = false;
    const lyd_node* node = nullptr;  ///< The first of several when no entry is named, or null.
  };

  /// Reads `tree` for as long as the reader lives. `schema` is the tree's and outlives the reader.
  Reader(const Schema& schema, SharedTree tree);

  /// The value of the leaf, leaf-list or leaf-list entry at a path; the caller owns it. An
  /// existing element's leaf-list without entries is an empty C_LIST. C_NOEXISTS when there is no
  /// such leaf or entry. Throws std::invalid_argument for a text that is no path of the schema or
  /// not of a leaf or leaf-list.
  confd_value_t Get(const std::string& path);

  /// The children of the entry or container at a path, as cdb_get_object() hands them out; 0, with
  /// `values` untouched, when it is not there. Returns how many its schema has. Throws
  /// std::invalid_argument for a text that is no path of the schema or not of such an element.
  int GetObject(const std::string& path, confd_value_t* values, int count);

  /// The same for `objects` entries of a list from the one at position `index`, as
  /// cdb_get_objects().
  int GetObjects(const std::string& path, int index, int objects, confd_value_t* values, int count);

  /// Number of entries of the list or leaf-list at a path, 0 where its parent is absent. Throws
  /// std::invalid_argument for a text that is no path of the schema or not of a list.
  int Count(const std::string& path);

  Place Find(const ModelPath& path);

  /// The first entry of the list at a path, or null; throws as Count().
  const lyd_node* FirstEntry(const std::string& path);

 private:
  /// The entry that was last found by its position: loops over positions go on from here.
  struct Position {
    const lyd_node* first = nullptr;  ///< Of the list's entries.
    const lyd_node* entry = nullptr;
    int index = 0;
  };

  const lyd_node* FindStep(const lyd_node* siblings, const common::PathStep& step,
                           const lysc_node* element);
  const lyd_node* AtIndex(const lyd_node* first, int index);

  const Schema* schema_;
  SharedTree tree_;
  Position last_;
};

}  // namespace host
