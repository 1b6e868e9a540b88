#include "app/intf_cfg.h"

#include <string>

#include "app/confd_names.h"
#include "app/confd_text.h"
#include "app/trace.h"

IntfCfgHandler::IntfCfgHandler(const std::shared_ptr<SnmpListenCfgHandler>& listen_handler)
    : listen_handler_(listen_handler) {
  // One hash for both, though the paths are of two modules.
  const auto change = &IntfCfgHandler::HandleCfg;
  subscription_points_ = {
      app::MakePoint(this, change, 20, app::ns::kIntf, app::path::kAgentEnabled, 0),
      app::MakePoint(this, change, 20, app::ns::kIntf, app::path::kL3, 7),
  };
  log_category_ = app::RegisterCategory("-l3intf");
  APP_LOG(log_category_, app::kDetail, "Registered");
}

void IntfCfgHandler::LoadInitialConfig(int /*cdb_socket*/) {}

void IntfCfgHandler::ApplyInitialConfig() {}

void IntfCfgHandler::StartCommit() {
  APP_LOG(log_category_, app::kDetail, "Starting commit of L3 interface.");
}

void IntfCfgHandler::ApplyCommitConfig() {
  APP_LOG(log_category_, app::kDetail, "Applying new configuration of L3 interface.");
  listen_handler_->ApplyCommitConfig();
}

confd_iter_ret IntfCfgHandler::HandleCfg(confd_hkeypath_t* kp, confd_iter_op op,
                                         confd_value_t* /*old_value*/,
                                         confd_value_t* /*new_value*/) {
  const app::KeyPathText kp_text(kp);
  APP_LOG(log_category_, app::kDetail, "Called kp %s, op %d", kp_text.c_str(), op);
  if (op != MOP_MODIFIED) {
    APP_LOG(log_category_, app::kDetail, "Not modify");
    return ITER_CONTINUE;
  }
  APP_LOG(log_category_, app::kDetail, "Is modify");
  listen_handler_->UpdateEntry(app::kL3Prefix + APP_BUF_TEXT(&kp->v[0][0]));
  return ITER_CONTINUE;
}
