#include "netconf/edit_choice.h"

#include "netconf/edit_refusal.h"
#include "netconf/rpc_error.h"

namespace host {

bool IsInCase(const lysc_node* schema) {
  return schema->parent != nullptr && schema->parent->nodetype == LYS_CASE;
}

bool AreInTwoCases(const lysc_node* a, const lysc_node* b) {
  for (const lysc_node* of_a = a; IsInCase(of_a); of_a = of_a->parent->parent) {
    for (const lysc_node* of_b = b; IsInCase(of_b); of_b = of_b->parent->parent) {
      const bool is_one_choice = of_a->parent->parent == of_b->parent->parent;
      if (is_one_choice) return of_a->parent != of_b->parent;
    }
  }
  return false;
}

void RequireOneCase(const lyd_node* edit, std::set<const lysc_node*>* seen) {
  if (!IsInCase(edit->schema) || !seen->insert(edit->schema).second) return;
  for (const lysc_node* other : *seen) {
    if (!AreInTwoCases(edit->schema, other)) continue;
    throw RpcError("application", "bad-element",
                   NameOf(edit) + " excludes " + other->name + ", both are in the edit")
        .At(PathOf(edit))
        .With("bad-element", NameOf(edit));
  }
}

}  // namespace host
