// A handler that follows parts of the configuration.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "confd_lib.h"
#include "vkconfd/base_handler.h"

namespace vkconfd {

/// One ConfD path that a handler follows.
struct SubscriptionPoint {
  /// Told of one change: key path, kind, old value, new value. Old and new value may be null (a
  /// deletion has no new one; the old one comes only with ITER_WANT_PREV). All arguments stay the
  /// framework's and are valid during the call.
  using Callback = std::function<confd_iter_ret(
      confd_hkeypath_t* kp, confd_iter_op op, confd_value_t* old_value, confd_value_t* new_value)>;

  int32_t priority;       ///< Within a commit, lower numbers are delivered first.
  int32_t ns;             ///< Namespace hash that goes with the path.
  const char* path;       ///< Constant text.
  int32_t iterate_flags;  ///< ITER_WANT_PREV and the platform's own bits.
  Callback callback;
};

class ConfigHandler : public BaseHandler {
 public:
  /// Once, at start: read the whole configuration from the CDB read session on `cdb_socket`, which
  /// the framework closes after the call.
  virtual void LoadInitialConfig(int cdb_socket) = 0;

  /// Once, after LoadInitialConfig: act on what was loaded.
  virtual void ApplyInitialConfig() = 0;

  /// A commit that touches a subscribed path begins.
  virtual void StartCommit() = 0;

  /// Every change of the commit has been passed to the points' callbacks: act on them. The commit
  /// is in force already and cannot be refused here.
  virtual void ApplyCommitConfig() = 0;

  /// The points to subscribe, in order. They do not change once the handler is constructed.
  virtual const std::vector<SubscriptionPoint>& GetSubscriptionPoints() const = 0;
};

}  // namespace vkconfd
