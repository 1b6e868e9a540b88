// What has to be done to make the open listeners equal to the wanted ones.
#pragma once

#include <set>

#include "snmp/endpoint.h"

namespace host {

/// What is in neither set is open and stays.
struct ListenerPlan {
  std::set<Endpoint> open;   ///< In their normal form.
  std::set<Endpoint> close;  ///< Of those that are open.
};

/// `open` are in their normal form, `wanted` need not be. Endpoints are told apart by all their
/// members, so that one whose members changed is opened anew beside the one that closes.
ListenerPlan PlanListeners(const std::set<Endpoint>& open, const std::set<Endpoint>& wanted);

}  // namespace host
