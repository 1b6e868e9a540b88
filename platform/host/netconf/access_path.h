// Paths of access rules (RFC 8341, node-instance-identifier).
#pragma once

#include <libyang/libyang.h>

#include <cstdint>
#include <string>
#include <vector>

namespace host {

/// An element of the data, as far as access control looks at it: it need not exist.
struct AccessPlace {
  const lysc_node* element;
  const lyd_node* instance;  ///< The element's, or what it stands in; null at the top.
};

/// One path with or without the keys of entries; those that it does not tell may be any.
class AccessPath {
 public:
  /// `text` is as libyang has such a value, with a module's name where it changes; "/" is
  /// everything. Throws std::runtime_error with the path when the models have no such element.
  AccessPath(const ly_ctx* context, const std::string& text);

  /// Whether it means the place, or what that stands in.
  bool Covers(const AccessPlace& place) const;

 private:
  /// What a predicate asks of an entry.
  struct Condition {
    const lysc_node* entry;  ///< List or leaf-list.
    const lysc_node* key;    ///< Null for the leaf-list's own value, and for a place.
    std::string value;
    uint32_t place = 0;  ///< In a list without keys, from 1.
  };

  void AddStep(const ly_ctx* context, const std::string& step);
  void AddCondition(const std::string& predicate);
  static bool Holds(const Condition& condition, const lyd_node* instance);

  const lysc_node* target_ = nullptr;  ///< Null for everything.
  const lys_module* module_ = nullptr;
  std::vector<Condition> conditions_;
};

/// The steps of a path as libyang has it, each with its '/' and its predicates.
std::vector<std::string> PathSteps(const std::string& path);

}  // namespace host
