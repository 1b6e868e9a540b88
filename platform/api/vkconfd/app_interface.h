// The framework's side of an application: connection, subscriptions, delivery.
#pragma once

#include <memory>
#include <vector>

#include "vkconfd/base_handler.h"
#include "vkconfd/config_handler.h"
#include "vkconfd/data_handler.h"
#include "vkmw/vkmw.h"

namespace vkconfd {

class AppInterface {
 public:
  /// Registers the handlers and connects them to ConfD as `name` once it reaches `phase` and the
  /// server runs: for every configuration handler LoadInitialConfig, then ApplyInitialConfig. From
  /// then on each commit is delivered: the touched points of all handlers in order of priority
  /// (equal: order of registration), a handler's StartCommit before its first callback of the
  /// commit and its ApplyCommitConfig after its last. The commit is in force then: an exception of
  /// a handler is reported as a fault and the delivery goes on. After std::bad_alloc a platform may
  /// end the process instead, whose next start brings all of it into force.
  ///
  /// The handle and the handlers stay the caller's and outlive the object; the lists are copied.
  /// `argument` is the platform's. Throws std::exception when the configuration cannot be brought
  /// up.
  AppInterface(vkmw_t* vkmw, zlog_category_s* log_category, const char* name,
               const std::vector<ConfigHandler*>& config_handlers,
               const std::vector<ActionHandler*>& action_handlers,
               const std::vector<DataHandler*>& data_handlers, ELEM_CONFD_PHASE_ET phase,
               int argument);

  /// Disconnects and drops all registrations.
  ~AppInterface();

  AppInterface(const AppInterface&) = delete;
  AppInterface& operator=(const AppInterface&) = delete;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace vkconfd
