// Follows the L3 interfaces: one that changed has its listening record refreshed.
#pragma once

#include <memory>

#include "app/handler.h"
#include "app/snmp_cfg_listen.h"
#include "confd_lib.h"

class IntfCfgHandler : public app::CfgHandler {
 public:
  explicit IntfCfgHandler(const std::shared_ptr<SnmpListenCfgHandler>& listen_handler);

  /// There is nothing to load: the listen handler reads what it needs of an interface.
  void LoadInitialConfig(int cdb_socket) override;
  void ApplyInitialConfig() override;
  void StartCommit() override;

  /// Has the listen handler apply the rules of all its interfaces.
  void ApplyCommitConfig() override;

  /// Refreshes the record of a modified L3 interface; every other change is ignored.
  confd_iter_ret HandleCfg(confd_hkeypath_t* kp, confd_iter_op op, confd_value_t* old_value,
                           confd_value_t* new_value);

 private:
  std::shared_ptr<SnmpListenCfgHandler> listen_handler_;
};
