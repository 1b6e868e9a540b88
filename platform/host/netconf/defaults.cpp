#include "netconf/defaults.h"

#include "config/default_mark.h"
#include "netconf/rpc_error.h"

namespace host {

namespace {

bool IsInner(const lyd_node* node) {
  return (node->schema->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0;
}

bool IsValue(const lyd_node* node) { return (node->schema->nodetype & LYD_NODE_TERM) != 0; }

/// That it is not set, but the model's.
bool IsGiven(const lyd_node* value) { return (value->flags & LYD_DEFAULT) != 0; }

bool IsReported(DefaultsMode mode, const lyd_node* value) {
  switch (mode) {
    case DefaultsMode::kExplicit:
      // State has no one who sets it.
      return !IsGiven(value) || (value->schema->flags & LYS_CONFIG_W) == 0;
    case DefaultsMode::kTrim:
      return !IsGiven(value) && lyd_is_default(value) == 0;
    default:
      return true;
  }
}

void KeepReported(DefaultsMode mode, Tree* data, lyd_node* siblings) {
  for (lyd_node *node = siblings, *next = nullptr; node != nullptr; node = next) {
    next = node->next;
    if (node->schema == nullptr) continue;
    if (IsInner(node)) {
      KeepReported(mode, data, lyd_child_no_keys(node));
    } else if (IsValue(node) && !IsReported(mode, node)) {
      Remove(data, node);
    } else if (IsValue(node) && mode == DefaultsMode::kReportAllTagged && IsGiven(node)) {
      MarkAsDefault(node);
    }
  }
}

RpcError BadDefault(const char* tag, const lyd_node* edit, const std::string& reason) {
  const std::string name = NameOf(edit);
  return RpcError("application", tag, name + " " + reason)
      .At(PathOf(edit))
      .With("bad-element", name);
}

}  // namespace

DefaultsMode ParseDefaultsMode(const std::string& name) {
  if (name == "report-all") return DefaultsMode::kReportAll;
  if (name == "report-all-tagged") return DefaultsMode::kReportAllTagged;
  return name == "trim" ? DefaultsMode::kTrim : DefaultsMode::kExplicit;
}

void KeepReported(DefaultsMode mode, Tree* data) {
  if (mode != DefaultsMode::kReportAll) KeepReported(mode, data, data->get());
}

uint32_t PrintOption(DefaultsMode mode) {
  const bool is_all = mode == DefaultsMode::kReportAll || mode == DefaultsMode::kReportAllTagged;
  return is_all ? LYD_PRINT_WD_ALL : LYD_PRINT_WD_EXPLICIT;
}

void RequireDefault(const lyd_node* edit, bool sets_value) {
  if (!IsValue(edit)) {
    throw BadDefault("unknown-attribute", edit, "has no default value")
        .With("bad-attribute", "default");
  }
  if (!sets_value) {
    throw BadDefault("invalid-value", edit, "is given its default value where nothing is set");
  }
  if (lyd_is_default(edit) != 0) return;
  throw BadDefault("invalid-value", edit,
                   std::string("does not have \"") + lyd_get_value(edit) + "\" as its default");
}

}  // namespace host
