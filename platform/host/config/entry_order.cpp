#include "config/entry_order.h"

#include "config/yang_data.h"

namespace host {

bool EntryOrder::HasMoved(const lyd_node* old_entry) {
  const auto found = expected_.try_emplace(old_entry->schema, nullptr);
  const lyd_node*& expected = found.first->second;
  if (found.second) expected = FindFirst(old_siblings_, old_entry->schema);
  while (expected != nullptr &&
         (moved_.count(expected) > 0 || FindSame(new_siblings_, expected) == nullptr)) {
    expected = NextEntry(expected);
  }
  if (expected == old_entry) {
    expected = NextEntry(expected);
    return false;
  }
  moved_.insert(old_entry);
  return true;
}

}  // namespace host
