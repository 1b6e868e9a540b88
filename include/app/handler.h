// What the handlers have in common.
#pragma once

#include <zlog.h>

#include <cstdint>
#include <string>
#include <vector>

#include "app/trace.h"
#include "vkconfd/config_handler.h"

namespace app {

/// A member function that takes one change.
template <typename Handler>
using ChangeMember = confd_iter_ret (Handler::*)(confd_hkeypath_t* kp, confd_iter_op op,
                                                 confd_value_t* old_value,
                                                 confd_value_t* new_value);

/// A subscription point whose callback is a member of `handler`, which outlives it.
template <typename Handler>
vkconfd::SubscriptionPoint MakePoint(Handler* handler, ChangeMember<Handler> member,
                                     int32_t priority, int32_t ns, const char* path,
                                     int32_t iterate_flags) {
  return {priority, ns, path, iterate_flags,
          [handler, member](confd_hkeypath_t* kp, confd_iter_op op, confd_value_t* old_value,
                            confd_value_t* new_value) {
            return (handler->*member)(kp, op, old_value, new_value);
          }};
}

/// A handler of configuration, whose constructor fills the points and registers the category.
class CfgHandler : public vkconfd::ConfigHandler {
 public:
  /// Acts on what was loaded as on a commit.
  void ApplyInitialConfig() override { ApplyCommitConfig(); }

  const std::vector<vkconfd::SubscriptionPoint>& GetSubscriptionPoints() const override {
    return subscription_points_;
  }

 protected:
  std::vector<vkconfd::SubscriptionPoint> subscription_points_;
  zlog_category_s* log_category_ = nullptr;
};

/// The log category of a handler: the program's name and `suffix`.
inline zlog_category_s* RegisterCategory(const char* suffix) {
  return vkmw_trace_register_category((std::string(kProgramName) + suffix).c_str());
}

}  // namespace app
