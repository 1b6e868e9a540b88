// Which entries of user-ordered lists (RFC 7950, 7.7.1) have changed places.
#pragma once

#include <libyang/libyang.h>

#include <map>
#include <set>

namespace host {

/// Compares the order of the entries that stay, of the lists among two rows of siblings. The trees
/// outlive it.
class EntryOrder {
 public:
  /// The first siblings of before and of now; null for none.
  EntryOrder(const lyd_node* old_siblings, const lyd_node* new_siblings)
      : old_siblings_(old_siblings), new_siblings_(new_siblings) {}

  /// Whether an entry has another place now. `old_entry` is the one of before; asked once for each
  /// that stays, in the order of now.
  bool HasMoved(const lyd_node* old_entry);

 private:
  const lyd_node* old_siblings_;
  const lyd_node* new_siblings_;
  std::map<const lysc_node*, const lyd_node*> expected_;  // the next old entry of each list
  std::set<const lyd_node*> moved_;
};

}  // namespace host
