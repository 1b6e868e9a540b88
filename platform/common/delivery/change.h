// The changes of one commit as a tree, and the visit of them as ConfD makes it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "confd/path_text.h"
#include "confd_lib.h"
#include "vkconfd/config_handler.h"

namespace common {

/// Owns one confd_value_t.
class OwnedValue {
 public:
  OwnedValue() = default;

  /// Takes over what `value` owns.
  explicit OwnedValue(const confd_value_t& value) : value_(value) {}
  ~OwnedValue() { confd_free_value(&value_); }
  OwnedValue(OwnedValue&& other) noexcept : value_(other.value_) { other.value_.type = C_NOEXISTS; }
  OwnedValue& operator=(OwnedValue&& other) noexcept;
  OwnedValue(const OwnedValue&) = delete;
  OwnedValue& operator=(const OwnedValue&) = delete;

  bool IsSet() const { return value_.type != C_NOEXISTS; }

  /// The value for a callback's argument, null when none is set. Stays this object's.
  confd_value_t* Get() { return IsSet() ? &value_ : nullptr; }
  const confd_value_t& Value() const { return value_; }

 private:
  confd_value_t value_ = {C_NOEXISTS, {}};
};

/// One changed element and what changed below it. A list entry has its keys as values.
struct Change {
  uint32_t tag = 0;              ///< Of the element; of the list for an entry.
  uint32_t ns = 0;               ///< Hash of the element's module.
  std::vector<OwnedValue> keys;  ///< Of a list entry, else empty.
  confd_iter_op op = MOP_MODIFIED;
  OwnedValue old_value;  ///< Of a leaf that had a value.
  OwnedValue new_value;  ///< Of a leaf that has one.
  std::vector<Change> children;
};

/// True when something at or below the element that the point's path names changed.
bool IsTouched(const std::vector<Change>& changes, const std::string& path);

/// Tells `point` of the changes at its path and, as far as its callback asks, below it.
void Visit(std::vector<Change>& changes, const vkconfd::SubscriptionPoint& point);

}  // namespace common
