#include "snmp/listener_plan.h"

#include <algorithm>
#include <iterator>

namespace host {

namespace {

std::set<Endpoint> Without(const std::set<Endpoint>& all, const std::set<Endpoint>& some) {
  std::set<Endpoint> rest;
  std::set_difference(all.begin(), all.end(), some.begin(), some.end(),
                      std::inserter(rest, rest.end()));
  return rest;
}

ListenerPlan Plan(const std::set<Endpoint>& open, const std::set<Endpoint>& wanted) {
  return {Without(wanted, open), Without(open, wanted)};
}

bool IsNormal(const Endpoint& endpoint) { return endpoint == Normalized(endpoint); }

}  // namespace

/// Mostly little or nothing changes and all is in its normal form: then only what is new is looked
/// at more closely.
ListenerPlan PlanListeners(const std::set<Endpoint>& open, const std::set<Endpoint>& wanted) {
  const ListenerPlan plan = Plan(open, wanted);
  const bool is_normal = std::all_of(plan.open.begin(), plan.open.end(), IsNormal);
  return is_normal ? plan : Plan(open, Normalized(wanted));
}

}  // namespace host
