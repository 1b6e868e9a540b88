#include "vkconfd/fake_hooks.h"

#include <map>
#include <string>

#include "confd/fake_differences.h"
#include "delivery/change.h"

namespace fake {

namespace {

using common::Change;
using Callpoint = vkconfd::DataHandler::Callpoint;

/// Where the models put a callpoint.
const char* CallpointPath(const std::string& name) {
  static const std::map<std::string, const char*> paths = {
      {"listen", "/snmp/agent/listen/interface"}};
  return paths.at(name);
}

int CallOne(Callpoint* callpoint, confd_trans_ctx* tctx, confd_hkeypath_t* kp, confd_iter_op op,
            confd_value_t* new_value) {
  switch (op) {
    case MOP_DELETED:
      return callpoint->RemoveCallback(tctx, kp);
    case MOP_CREATED:
      return callpoint->CreateCallback(tctx, kp);
    case MOP_VALUE_SET:
      return callpoint->SetElemCallback(tctx, kp, new_value);
    default:
      return CONFD_OK;
  }
}

/// Calls the callpoint for the entries that changed as `entry_op` tells, and for their leaves.
int CallForEntries(std::vector<Change>& changes, confd_iter_op entry_op, Callpoint* callpoint,
                   confd_trans_ctx* tctx) {
  int result = CONFD_OK;
  const auto visit = [&](confd_hkeypath_t* kp, confd_iter_op op, confd_value_t* /*old_value*/,
                         confd_value_t* new_value) {
    const bool is_entry = kp->v[0][0].type != C_XMLTAG;
    if (is_entry && op != entry_op) return ITER_CONTINUE;
    result = CallOne(callpoint, tctx, kp, op, new_value);
    return result == CONFD_OK ? ITER_RECURSE : ITER_STOP;
  };
  common::Visit(changes, {0, 0, CallpointPath(callpoint->GetCallpointName()), 0, visit});
  return result;
}

int CallAll(std::vector<Change>& changes, confd_trans_ctx* tctx,
            const std::vector<vkconfd::DataHandler*>& handlers) {
  for (vkconfd::DataHandler* handler : handlers) {
    for (Callpoint* callpoint : handler->GetCallpoints()) {
      for (const confd_iter_op op : {MOP_DELETED, MOP_CREATED, MOP_MODIFIED}) {
        const int result = CallForEntries(changes, op, callpoint, tctx);
        if (result != CONFD_OK) return result;
      }
    }
  }
  return CONFD_OK;
}

}  // namespace

int CallHooks(const Database& before, Transaction* transaction,
              const std::vector<vkconfd::DataHandler*>& handlers) {
  Database known = before.Copy();
  while (true) {
    std::vector<Change> changes = Differences(known, transaction->candidate);
    if (changes.empty()) return CONFD_OK;
    known = transaction->candidate.Copy();
    const int result = CallAll(changes, transaction->Context(), handlers);
    if (result != CONFD_OK) return result;
  }
}

}  // namespace fake
