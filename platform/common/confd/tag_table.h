// Names of schema elements and the 32-bit hashes that stand for them in a confd_value_t.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace common {

class TagTable {
 public:
  /// The table that the ConfD texts of this process are printed from.
  static TagTable& Global();

  /// Gives `name` the hash of the compiled schema. Throws std::runtime_error when the name has
  /// another hash already or the hash another name.
  void Define(const std::string& name, uint32_t hash);

  /// The hash of `name`: the defined one, else one computed from the text and remembered. Throws
  /// std::runtime_error when the computed one belongs to another name.
  uint32_t Hash(const std::string& name);

  /// The name behind `hash`, or null. Owned by the table.
  const std::string* Name(uint32_t hash) const;

 private:
  std::map<std::string, uint32_t> hashes_;
  std::map<uint32_t, std::string> names_;
};

}  // namespace common
