#include "netconf/edit_choice.h"

#include <string>

#include "config/choices.h"
#include "config/yang_data.h"
#include "netconf/rpc_error.h"

namespace host {

void RequireOneCase(const lyd_node* edit, std::set<const lysc_node*>* seen) {
  if (!IsInCase(edit->schema) || !seen->insert(edit->schema).second) return;
  for (const lysc_node* other : *seen) {
    if (!AreInTwoCases(edit->schema, other)) continue;
    throw RpcError(
        "application", "bad-element",
        std::string(NameOf(edit)) + " excludes " + other->name + ", both are in the edit")
        .At(PathOf(edit))
        .With("bad-element", NameOf(edit));
  }
}

}  // namespace host
