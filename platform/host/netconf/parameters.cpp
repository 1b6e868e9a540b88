#include "netconf/parameters.h"

#include <utility>

#include "netconf/defaults.h"
#include "netconf/filter.h"
#include "netconf/rpc_error.h"
#include "netconf/xml.h"

namespace host {

namespace {

/// What stands in an <filter> or <config> element; null for nothing.
const lyd_node* AnyContent(const lyd_node* element) {
  const auto* any = reinterpret_cast<const lyd_node_any*>(element);
  return any->value_type == LYD_ANYDATA_DATATREE ? any->value.tree : nullptr;
}

std::string MetaText(const lyd_node* node, const char* name) {
  const lyd_meta* meta = FindMeta(node, "ietf-netconf", name);
  return meta == nullptr ? "" : lyd_get_meta_value(meta);
}

DefaultsMode ModeOf(const lyd_node* operation) {
  return ParseDefaultsMode(ParameterText(operation, "with-defaults"));
}

}  // namespace

const lyd_node* Parameter(const lyd_node* parent, const char* name) {
  return FindNamed(lyd_child(parent), name);
}

std::string ParameterText(const lyd_node* operation, const char* leaf, const char* absent) {
  const lyd_node* found = Parameter(operation, leaf);
  return found == nullptr ? absent : lyd_get_value(found);
}

Datastore DatastoreIn(const lyd_node* container) {
  if (Parameter(container, "running") != nullptr) return Datastore::kRunning;
  return Parameter(container, "startup") != nullptr ? Datastore::kStartup : Datastore::kCandidate;
}

const lyd_node* ConfigContent(const lyd_node* config) {
  const auto* any = reinterpret_cast<const lyd_node_any*>(config);
  const bool is_text = any->value_type == LYD_ANYDATA_STRING || any->value_type == LYD_ANYDATA_XML;
  const std::string text = is_text && any->value.str != nullptr ? any->value.str : "";
  if (Trimmed(text).empty()) return AnyContent(config);
  throw RpcError("protocol", "invalid-value", "a configuration is no text")
      .With("bad-element", "config");
}

/// By default an edit of the candidate is not tested, though RFC 6241, 7.2 says so: entries that
/// need each other could then not be made by one edit each, as clients do that build the candidate
/// step by step. The commit checks it.
std::string TestOption(const lyd_node* operation) {
  const lyd_node* option = Parameter(operation, "test-option");
  const bool is_given = option != nullptr && (option->flags & LYD_DEFAULT) == 0;
  return is_given ? lyd_get_value(option) : "set";
}

std::optional<std::string> XPathOf(const lyd_node* operation) {
  const lyd_node* filter = Parameter(operation, "filter");
  if (filter == nullptr || MetaText(filter, "type") != "xpath") return std::nullopt;
  std::string select = MetaText(filter, "select");
  if (!select.empty()) return select;
  throw RpcError("protocol", "missing-attribute", "select tells what an XPath filter selects")
      .With("bad-attribute", "select")
      .With("bad-element", "filter");
}

const lyd_node* SubtreeOf(const lyd_node* operation) {
  return AnyContent(Parameter(operation, "filter"));
}

Tree Filtered(const lyd_node* operation, Tree data) {
  KeepReported(ModeOf(operation), &data);
  if (Parameter(operation, "filter") == nullptr) return data;
  const std::optional<std::string> xpath = XPathOf(operation);
  if (xpath) return SelectXPath(xpath->c_str(), data.get());
  return SelectSubtree(SubtreeOf(operation), data.get());
}

uint32_t DefaultsFlag(const lyd_node* operation) { return PrintOption(ModeOf(operation)); }

}  // namespace host
