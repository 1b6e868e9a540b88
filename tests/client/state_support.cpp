#include "state_support.h"

#include <array>

#include "netconf/xml.h"
#include "runtime/folders.h"

namespace show::test {

namespace {

/// Two values of a leaf. Texts with a pattern are times.
std::array<const char*, 2> ValuesOf(const lysc_node* leaf) {
  const lysc_type* type = reinterpret_cast<const lysc_node_leaf*>(leaf)->type;
  if (type->basetype == LY_TYPE_BOOL) return {"true", "false"};
  if (type->basetype == LY_TYPE_ENUM) return {"active", "standby"};
  const bool is_time = type->basetype == LY_TYPE_STRING &&
                       reinterpret_cast<const lysc_type_str*>(type)->patterns != nullptr;
  if (is_time) return {"2026-11-21T10:00:00Z", "2026-11-22T10:00:00Z"};
  return {"1", "2"};
}

}  // namespace

const host::Schema& Models() {
  static const host::Schema models(MODELS_FOLDER, host::Folders::OfProcess().standard_models);
  return models;
}

std::string StateXml(const std::string& content) {
  return R"(<snmp-state xmlns="urn:snmp-app:state">)" + content + "</snmp-state>";
}

host::Tree TreeOf(const std::string& xml) { return host::ParseState(Models().Context(), xml); }

host::Tree StateOf(const std::string& content) { return TreeOf(StateXml(content)); }

const lysc_node* StateContainer() {
  return Models().Resolve({common::PathStep{"", "snmp-state", {}, {}}}).back();
}

std::string Filled(const lysc_node* node, const lysc_node* changed) {
  std::string text;
  for (const lysc_node* child = lysc_node_child(node); child != nullptr; child = child->next) {
    const std::string content =
        child->nodetype == LYS_LEAF ? ValuesOf(child)[child == changed] : Filled(child, changed);
    text += host::Element(child->name, content);
  }
  return text;
}

std::vector<const lysc_node*> LeavesBelow(const lysc_node* node) {
  std::vector<const lysc_node*> leaves;
  for (const lysc_node* child = lysc_node_child(node); child != nullptr; child = child->next) {
    if (child->nodetype == LYS_LEAF) leaves.push_back(child);
    for (const lysc_node* leaf : LeavesBelow(child)) leaves.push_back(leaf);
  }
  return leaves;
}

}  // namespace show::test
