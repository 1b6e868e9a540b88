#include "confd/tag_table.h"

#include <cstdio>
#include <stdexcept>

namespace common {

namespace {

/// FNV-1a, 31 bits: the hashes of the compiled schema are positive numbers, too.
uint32_t ComputeHash(const std::string& name) {
  uint32_t hash = 2166136261U;
  for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
  return hash & 0x7FFFFFFFU;
}

std::string HashText(uint32_t hash) {
  char text[16];
  snprintf(text, sizeof text, "0x%08X", hash);
  return text;
}

}  // namespace

TagTable& TagTable::Global() {
  static TagTable table;
  return table;
}

void TagTable::Define(const std::string& name, uint32_t hash) {
  const auto by_name = hashes_.find(name);
  if (by_name != hashes_.end() && by_name->second != hash) {
    throw std::runtime_error("element " + name + " has two tag hashes, " +
                             HashText(by_name->second) + " and " + HashText(hash));
  }
  const auto by_hash = names_.find(hash);
  if (by_hash != names_.end() && by_hash->second != name) {
    throw std::runtime_error("elements " + by_hash->second + " and " + name +
                             " have the same tag hash " + HashText(hash));
  }
  hashes_.emplace(name, hash);
  names_.emplace(hash, name);
}

uint32_t TagTable::Hash(const std::string& name) {
  const auto known = hashes_.find(name);
  if (known != hashes_.end()) return known->second;
  const uint32_t hash = ComputeHash(name);
  Define(name, hash);
  return hash;
}

const std::string* TagTable::Name(uint32_t hash) const {
  const auto found = names_.find(hash);
  return found == names_.end() ? nullptr : &found->second;
}

}  // namespace common
