#include "delivery/delivery.h"

#include <algorithm>
#include <exception>
#include <map>
#include <new>

namespace common {

namespace {

struct Delivery {
  vkconfd::ConfigHandler* handler;
  const vkconfd::SubscriptionPoint* point;
};

std::vector<Delivery> PlanDeliveries(const std::vector<Change>& changes,
                                     const std::vector<vkconfd::ConfigHandler*>& handlers) {
  std::vector<Delivery> plan;
  for (vkconfd::ConfigHandler* handler : handlers) {
    for (const vkconfd::SubscriptionPoint& point : handler->GetSubscriptionPoints()) {
      if (IsTouched(changes, point.path)) plan.push_back({handler, &point});
    }
  }
  std::stable_sort(plan.begin(), plan.end(), [](const Delivery& a, const Delivery& b) {
    return a.point->priority < b.point->priority;
  });
  return plan;
}

template <typename Operation>
void Guard(const HandlerFailed& failed, const std::string& what, Operation operation) {
  try {
    operation();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& exception) {
    failed(what, exception.what());
  } catch (...) {
    failed(what, "unknown exception");
  }
}

}  // namespace

void Deliver(std::vector<Change>& changes, const std::vector<vkconfd::ConfigHandler*>& handlers,
             const HandlerFailed& failed) {
  const std::vector<Delivery> plan = PlanDeliveries(changes, handlers);
  std::map<vkconfd::ConfigHandler*, size_t> open;
  for (const Delivery& delivery : plan) ++open[delivery.handler];
  std::map<vkconfd::ConfigHandler*, size_t> left = open;
  for (const Delivery& delivery : plan) {
    vkconfd::ConfigHandler* handler = delivery.handler;
    const std::string path = delivery.point->path;
    if (left[handler] == open[handler]) {
      Guard(failed, "start of commit at " + path, [handler] { handler->StartCommit(); });
    }
    Guard(failed, "change at " + path, [&] { Visit(changes, *delivery.point); });
    if (--left[handler] == 0) {
      Guard(failed, "apply of commit at " + path, [handler] { handler->ApplyCommitConfig(); });
    }
  }
}

}  // namespace common
