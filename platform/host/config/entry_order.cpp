#include "config/entry_order.h"

#include "config/reader.h"

namespace host {

bool EntryOrder::HasMoved(const lyd_node* old_entry) {
  const auto found = expected_.try_emplace(old_entry->schema, nullptr);
  const lyd_node*& expected = found.first->second;
  if (found.second) expected = FirstOf(old_entry->schema);
  while (expected != nullptr && (moved_.count(expected) > 0 || IsGone(expected))) {
    expected = NextEntry(expected);
  }
  if (expected == old_entry) {
    expected = NextEntry(expected);
    return false;
  }
  moved_.insert(old_entry);
  return true;
}

const lyd_node* EntryOrder::FirstOf(const lysc_node* list) const {
  lyd_node* found = nullptr;
  lyd_find_sibling_val(old_siblings_, list, nullptr, 0, &found);
  return found;
}

bool EntryOrder::IsGone(const lyd_node* old_entry) const {
  lyd_node* found = nullptr;
  return lyd_find_sibling_first(new_siblings_, old_entry, &found) != LY_SUCCESS;
}

}  // namespace host
