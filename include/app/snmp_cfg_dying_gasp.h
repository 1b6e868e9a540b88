// Follows the targets of SNMP notifications and has the dying-gasp trap of each ready for the
// driver that sends it.
#pragma once

#include <string>

#include "app/handler.h"
#include "app/trap_target.h"
#include "confd_lib.h"

class DyingGaspTrapCfgHandler : public app::CfgHandler {
 public:
  DyingGaspTrapCfgHandler();

  /// Gathers all targets for the next apply, if the agent is enabled.
  void LoadInitialConfig(int cdb_socket) override;
  void StartCommit() override;

  /// Withdraws and installs what was gathered, in this order and each in the order of the names.
  void ApplyCommitConfig() override;

  /// Takes over one change of the agent's enable flag, of the communities or of the targets. The
  /// first one that has the targets gathered ends the delivery of the point's others.
  confd_iter_ret HandleCfg(confd_hkeypath_t* kp, confd_iter_op op, confd_value_t* old_value,
                           confd_value_t* new_value);

  /// Gathers the targets from before the commit for removal and those after it for addition;
  /// nothing while the agent is disabled.
  void UpdateTargets();

 private:
  /// All targets, for addition while the agent is enabled, for removal while it is not.
  void GatherAll();
  void GetCommunities(int cdb_socket, CommunityMap& communities);
  void GetTargets(int cdb_socket, TargetMap& targets, const CommunityMap& communities);
  TrapTarget GetTargetEntry(int cdb_socket, const std::string& name,
                            const CommunityMap& communities);
  /// No usable target.
  TrapTarget RejectParameters();

  bool agent_enabled_ = false;
  TargetMap targets_to_add_;
  TargetMap targets_to_remove_;
  bool update_pending_ = false;  ///< The maps are gathered and not applied yet.
};
