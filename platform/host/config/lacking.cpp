#include "config/lacking.h"

#include <cstdint>
#include <vector>

#include "config/yang_data.h"

namespace host {

namespace {

constexpr uint32_t kWithChoices = LYS_GETNEXT_WITHCHOICE | LYS_GETNEXT_WITHCASE;

/// The element, choice or case of that name; `step` has its module's before it where that changes.
const lysc_node* FindStep(const ly_ctx* context, const lysc_node* parent, const std::string& step) {
  const size_t colon = step.find(':');
  const lys_module* module =
      colon == std::string::npos
          ? (parent == nullptr ? nullptr : parent->module)
          : ly_ctx_get_module_implemented(context, step.substr(0, colon).c_str());
  const std::string name = step.substr(colon == std::string::npos ? 0 : colon + 1);
  if (module == nullptr) return nullptr;
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, parent, module->compiled, kWithChoices)) != nullptr) {
    if (name == node->name && node->module == module) break;
  }
  return node;
}

const lysc_node* FindElement(const ly_ctx* context, const std::string& path) {
  const lysc_node* node = nullptr;
  for (size_t begin = 0; begin < path.size();) {
    const size_t end = path.find('/', begin + 1);
    node = FindStep(context, node, path.substr(begin + 1, end - begin - 1));
    if (node == nullptr) return nullptr;
    begin = end == std::string::npos ? path.size() : end;
  }
  return node;
}

bool IsWithin(const lysc_node* element, const lysc_node* wanted) {
  while (element != nullptr && element != wanted) element = element->parent;
  return element != nullptr;
}

bool HasEntries(const lysc_node* element) {
  return (element->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0;
}

uint32_t LeastOf(const lysc_node* wanted) {
  if (wanted->nodetype == LYS_LIST) return reinterpret_cast<const lysc_node_list*>(wanted)->min;
  if (wanted->nodetype != LYS_LEAFLIST) return 1;
  return reinterpret_cast<const lysc_node_leaflist*>(wanted)->min;
}

bool Lacks(const lyd_node* siblings, const lysc_node* wanted) {
  uint32_t count = 0;
  for (const lyd_node* node = siblings; node != nullptr; node = node->next) {
    if (IsWithin(node->schema, wanted)) ++count;
  }
  return count < LeastOf(wanted);
}

using Elements = std::vector<const lysc_node*>;

/// The first row that lacks it; `ancestors` are the elements that it stands in, the innermost
/// first, of which `depth` are still to be found.
const lyd_node* FirstLacking(const lyd_node* siblings, const Elements& ancestors, size_t depth,
                             const lysc_node* wanted) {
  for (const lyd_node* node = siblings; node != nullptr; node = node->next) {
    if (node->schema != ancestors[depth - 1]) continue;
    const lyd_node* found = depth > 1 ? FirstLacking(lyd_child(node), ancestors, depth - 1, wanted)
                                      : (Lacks(lyd_child(node), wanted) ? node : nullptr);
    if (found != nullptr) return found;
  }
  return nullptr;
}

}  // namespace

Lacking FindLacking(const ly_ctx* context, const lyd_node* tree, const std::string& schema_path) {
  const lysc_node* wanted = FindElement(context, schema_path);
  if (wanted == nullptr) return {};
  Elements ancestors;
  for (const lysc_node* node = lysc_data_parent(wanted); node != nullptr;
       node = lysc_data_parent(node)) {
    ancestors.push_back(node);
  }
  const lyd_node* row =
      ancestors.empty() ? nullptr : FirstLacking(tree, ancestors, ancestors.size(), wanted);
  if (row == nullptr && (!ancestors.empty() || !Lacks(tree, wanted))) return {};
  return {row, HasEntries(wanted) ? PathBelow(row, wanted) : PathOf(row)};
}

}  // namespace host
