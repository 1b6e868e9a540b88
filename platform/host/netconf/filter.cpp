#include "netconf/filter.h"

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "netconf/rpc_error.h"
#include "netconf/xml.h"
#include "runtime/memory_or_end.h"

namespace host {

namespace {

constexpr uint16_t kInner = LYS_CONTAINER | LYS_LIST | LYS_NOTIF;
constexpr uint32_t kOne = LYD_DUP_WITH_FLAGS;
constexpr uint32_t kWhole = LYD_DUP_WITH_FLAGS | LYD_DUP_RECURSIVE;

/// An element without a namespace means those of all.
bool Matches(const lyd_node* filter, const lyd_node* data) {
  if (Means(filter, data->schema)) return true;
  return filter->schema == nullptr && *NamespaceOf(filter) == '\0' &&
         strcmp(NameOf(filter), data->schema->name) == 0;
}

std::string TextOf(const lyd_node* filter) { return Trimmed(ValueOf(filter)); }

bool IsContentMatch(const lyd_node* filter) {
  return lyd_child(filter) == nullptr && !TextOf(filter).empty();
}

bool HasContent(const lyd_node* data, const lyd_node* match) {
  for (const lyd_node* child = lyd_child(data); child != nullptr; child = child->next) {
    if (Matches(match, child) && (child->schema->nodetype & LYD_NODE_TERM) != 0 &&
        TextOf(match) == lyd_get_value(child)) {
      return true;
    }
  }
  return false;
}

/// Whether every content match among a filter's children is met.
bool MeetsContent(const lyd_node* filter, const lyd_node* data) {
  for (const lyd_node* child = lyd_child(filter); child != nullptr; child = child->next) {
    if (IsContentMatch(child) && !HasContent(data, child)) return false;
  }
  return true;
}

/// Whether a filter's children are content matches only: then the whole element is meant.
bool SelectsAll(const lyd_node* filter) {
  for (const lyd_node* child = lyd_child(filter); child != nullptr; child = child->next) {
    if (!IsContentMatch(child)) return false;
  }
  return true;
}

using Filters = std::vector<const lyd_node*>;

void AppendSiblings(const lyd_node* filter, Filters* filters) {
  for (; filter != nullptr; filter = filter->next) filters->push_back(filter);
}

/// What the filters that name an element want of it.
struct Selection {
  bool all = false;
  Filters of_children;
};

Selection SelectionOf(const Filters& filters, const lyd_node* data) {
  Selection selection;
  for (const lyd_node* filter : filters) {
    if (!Matches(filter, data)) continue;
    if ((data->schema->nodetype & kInner) == 0) {
      const std::string text = TextOf(filter);
      selection.all |= text.empty() || text == lyd_get_value(data);
    } else if (MeetsContent(filter, data)) {
      selection.all |= SelectsAll(filter);
      AppendSiblings(lyd_child(filter), &selection.of_children);
    }
  }
  return selection;
}

/// Where what is selected goes: below an element, or to the top of a tree.
struct Output {
  lyd_node* parent;
  Tree* tree;
};

size_t CountElements(const lyd_node* filter) {
  size_t count = 0;
  for (; filter != nullptr; filter = filter->next) count += 1 + CountElements(lyd_child(filter));
  return count;
}

/// Copies what the filters select among `data` and its siblings; true when that is anything.
bool Select(const Filters& filters, const lyd_node* data, const Output& output) {
  bool any = false;
  for (const lyd_node* node = data; node != nullptr; node = node->next) {
    const Selection selection = SelectionOf(filters, node);
    if (selection.all) {
      // An entry's copy has its keys already.
      if (!lysc_is_key(node->schema)) Insert(output.tree, output.parent, CopyNode(node, kWhole));
      any = true;
    } else if (!selection.of_children.empty()) {
      Tree copy = CopyNode(node, kOne);
      if (!Select(selection.of_children, lyd_child(node), {copy.get(), nullptr})) continue;
      Insert(output.tree, output.parent, std::move(copy));
      any = true;
    }
  }
  return any;
}

/// Whether Select() would copy anything.
bool SelectsAny(const Filters& filters, const lyd_node* data) {
  for (; data != nullptr; data = data->next) {
    const Selection selection = SelectionOf(filters, data);
    if (selection.all || SelectsAny(selection.of_children, lyd_child(data))) return true;
  }
  return false;
}

Filters FiltersOf(const lyd_node* filter) {
  if (CountElements(filter) > kMaxFilterElements) {
    throw RpcError("protocol", "too-big",
                   "a filter has at most " + std::to_string(kMaxFilterElements) + " elements");
  }
  Filters filters;
  AppendSiblings(filter, &filters);
  return filters;
}

}  // namespace

Tree SelectSubtree(const lyd_node* filter, const lyd_node* data) {
  Tree result;
  Select(FiltersOf(filter), data, {nullptr, &result});
  return result;
}

bool MatchesSubtree(const lyd_node* filter, const lyd_node* data) {
  return SelectsAny(FiltersOf(filter), data);
}

Tree SelectXPath(const char* expression, const lyd_node* data, const SearchLimits& limits) {
  if (data == nullptr) return nullptr;
  Tree result;
  for (const lyd_node* node : FindXPath(expression, data, limits)) {
    lyd_node* copy = CopyNode(node, kWhole | LYD_DUP_WITH_PARENTS).release();
    while (lyd_parent(copy) != nullptr) copy = lyd_parent(copy);
    lyd_node* first = result.release();
    const LY_ERR merged = lyd_merge_siblings(&first, copy, LYD_MERGE_DESTRUCT | LYD_MERGE_DEFAULTS);
    result.reset(first);
    // Two trees of one model differ in nothing that could not be merged.
    if (merged != LY_SUCCESS) RefuseMemory();
  }
  return result;
}

}  // namespace host
