#include "config/default_mark.h"

#include <cstring>
#include <string>

#include "config/yang_data.h"

namespace host {

namespace {

constexpr char kModel[] = "default-mark";
constexpr char kAttribute[] = "default";

/// XML's truth values, as the attribute's schema has them.
std::string ModelText() {
  return std::string("module ") + kModel + " { yang-version 1.1; namespace \"" + kDefaultNamespace +
         "\"; prefix wd; import ietf-yang-metadata { prefix md; } md:annotation " + kAttribute +
         " { type enumeration { enum true; enum false; enum 1; enum 0; } } }";
}

}  // namespace

void DefineDefaultMark(ly_ctx* context) {
  if (lys_parse_mem(context, ModelText().c_str(), LYS_IN_YANG, nullptr) != LY_SUCCESS) {
    throw TakeRefusal(context);
  }
}

bool IsDefaultMarkModel(const lys_module* module) { return strcmp(module->name, kModel) == 0; }

void MarkAsDefault(lyd_node* leaf) {
  const std::string name = std::string(kModel) + ":" + kAttribute;
  const ly_ctx* context = leaf->schema->module->ctx;
  if (lyd_new_meta(context, leaf, nullptr, name.c_str(), "true", 0, nullptr) != LY_SUCCESS) {
    throw TakeRefusal(leaf->schema->module->ctx);
  }
}

bool IsMarkedAsDefault(const lyd_node* node) {
  const lyd_meta* mark = FindMeta(node, kModel, kAttribute);
  if (mark == nullptr) return false;
  const std::string value = lyd_get_meta_value(mark);
  return value == "true" || value == "1";
}

}  // namespace host
