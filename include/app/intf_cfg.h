// Follows the L3 interfaces: one that changed has its listening record refreshed.
#pragma once

#include <zlog.h>

#include <memory>
#include <vector>

#include "app/snmp_cfg_listen.h"
#include "confd_lib.h"
#include "vkconfd/config_handler.h"

class IntfCfgHandler : public vkconfd::ConfigHandler {
 public:
  explicit IntfCfgHandler(const std::shared_ptr<SnmpListenCfgHandler>& listen_handler);

  /// There is nothing to load: the listen handler reads what it needs of an interface.
  void LoadInitialConfig(int cdb_socket) override;
  void ApplyInitialConfig() override;
  void StartCommit() override;

  /// Has the listen handler apply the rules of all its interfaces.
  void ApplyCommitConfig() override;
  const std::vector<vkconfd::SubscriptionPoint>& GetSubscriptionPoints() const override;

  /// Refreshes the record of a modified L3 interface; every other change is ignored.
  confd_iter_ret HandleCfg(confd_hkeypath_t* kp, confd_iter_op op, confd_value_t* old_value,
                           confd_value_t* new_value);

 private:
  std::vector<vkconfd::SubscriptionPoint> subscription_points_;
  zlog_category_s* log_category_ = nullptr;
  std::shared_ptr<SnmpListenCfgHandler> listen_handler_;
};
