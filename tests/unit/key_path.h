// Key paths as the framework hands them out.
#pragma once

#include <string>
#include <vector>

#include "confd/tag_table.h"
#include "confd/value_text.h"
#include "confd_lib.h"

/// A level that holds one value.
inline void AddLevel(confd_hkeypath_t* kp, const confd_value_t& value) {
  for (confd_value_t& rest : kp->v[kp->len]) rest.type = C_NOEXISTS;
  kp->v[kp->len][0] = value;
  ++kp->len;
}

/// The path of elements, outermost first.
inline confd_hkeypath_t ElementPath(const std::vector<std::string>& names) {
  confd_hkeypath_t kp = {};
  for (auto name = names.rbegin(); name != names.rend(); ++name) {
    AddLevel(&kp, common::MakeTag(common::TagTable::Global().Hash(*name), 0));
  }
  return kp;
}

/// The path of a list entry with one key, which stays the caller's.
inline confd_hkeypath_t EntryPath(const std::vector<std::string>& list, const confd_value_t& key) {
  const confd_hkeypath_t above = ElementPath(list);
  confd_hkeypath_t kp = {};
  AddLevel(&kp, key);
  for (int level = 0; level < above.len; ++level) AddLevel(&kp, above.v[level][0]);
  return kp;
}
