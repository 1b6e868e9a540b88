#include "config/expression_limit.h"

#include <libyang/plugins_exts.h>
#include <libyang/plugins_types.h>

#include <cstdlib>
#include <cstring>
#include <map>

namespace host {

namespace {

/// A type's plugin, before which the length is looked at.
struct LimitedType : lyplg_type {
  const lyplg_type* unlimited;
};

LY_ERR Store(const ly_ctx* context, const lysc_type* type, const void* value, size_t size,
             uint32_t options, LY_VALUE_FORMAT format, void* prefixes, uint32_t hints,
             const lysc_node* node, lyd_value* storage, lys_glob_unres* unresolved,
             ly_err_item** error) {
  const auto* limited = static_cast<const LimitedType*>(type->plugin);
  if (size <= kLongestExpression || format == LY_VALUE_LYB) {
    return limited->unlimited->store(context, type, value, size, options, format, prefixes, hints,
                                     node, storage, unresolved, error);
  }
  // A value that was made for the call is the call's to free.
  if ((options & LYPLG_TYPE_STORE_DYNAMIC) != 0) free(const_cast<void*>(value));
  *storage = {};
  return ly_err_new(error, LY_EVALID, LYVE_DATA, nullptr, nullptr, "%s %zu bytes.",
                    kExpressionTooLong, kLongestExpression);
}

bool IsExpression(const lyplg_type* plugin) {
  for (const char* name : {"xpath1.0", "instance-identifier", "node-instance-identifier"}) {
    if (strstr(plugin->id, name) != nullptr) return true;
  }
  return false;
}

/// The one plugin for each of libyang's. Never destroyed: trees of the process's end use them.
lyplg_type* Limited(const lyplg_type* plugin) {
  static auto& all = *new std::map<const lyplg_type*, LimitedType>;
  auto [found, is_new] = all.emplace(plugin, LimitedType{*plugin, plugin});
  if (is_new) found->second.store = Store;
  return &found->second;
}

/// Types are shared, so one may have been limited already.
void LimitType(lysc_type* type) {
  if (type->plugin->store != Store && IsExpression(type->plugin)) {
    type->plugin = Limited(type->plugin);
  }
  if (type->basetype == LY_TYPE_LEAFREF) {
    lysc_type* target = reinterpret_cast<lysc_type_leafref*>(type)->realtype;
    if (target != nullptr) LimitType(target);
  } else if (type->basetype == LY_TYPE_UNION) {
    lysc_type** members = reinterpret_cast<lysc_type_union*>(type)->types;
    LY_ARRAY_COUNT_TYPE i = 0;
    LY_ARRAY_FOR(members, i) LimitType(members[i]);
  }
}

LY_ERR LimitNode(lysc_node* node, void* /*unused*/, ly_bool* /*unused*/) {
  if (node->nodetype == LYS_LEAF) {
    LimitType(reinterpret_cast<lysc_node_leaf*>(node)->type);
  } else if (node->nodetype == LYS_LEAFLIST) {
    LimitType(reinterpret_cast<lysc_node_leaflist*>(node)->type);
  }
  return LY_SUCCESS;
}

/// What a model declares of attributes has its type among the statements within.
void LimitAttributes(const lysc_module* module) {
  const lysc_ext_instance* uses = module->exts;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(uses, i) {
    const lysc_ext_substmt* statements = uses[i].substmts;
    LY_ARRAY_COUNT_TYPE j = 0;
    LY_ARRAY_FOR(statements, j) {
      if (statements[j].stmt != LY_STMT_TYPE || statements[j].storage == nullptr) continue;
      auto* type = *static_cast<lysc_type**>(statements[j].storage);
      if (type != nullptr) LimitType(type);
    }
  }
}

}  // namespace

void LimitExpressions(const ly_ctx* context) {
  uint32_t index = 0;
  while (const lys_module* module = ly_ctx_get_module_iter(context, &index)) {
    if (module->compiled == nullptr) continue;
    lysc_module_dfs_full(module, LimitNode, nullptr);
    LimitAttributes(module->compiled);
  }
}

}  // namespace host
