#include "confd/fake_tags.h"

#include "model_tags.h"

namespace fake {

namespace {

common::TagTable& DefineTags() {
  common::TagTable& tags = common::TagTable::Global();
  for (const auto& [name, hash] : kModelTags) tags.Define(name, hash);
  return tags;
}

}  // namespace

common::TagTable& Tags() {
  static common::TagTable& tags = DefineTags();
  return tags;
}

}  // namespace fake
