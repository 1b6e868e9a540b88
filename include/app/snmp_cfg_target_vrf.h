// Keeps one routing rule for each SNMP target that is in a VRF.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "app/handler.h"
#include "confd_lib.h"

class TargetVrfCfgHandler : public app::CfgHandler {
 public:
  /// A rule as this handler asked for it.
  struct IpRuleKey {
    std::string address;  ///< As ConfD prints it.
    uint32_t vrf_id;
    uint16_t port;
  };

  TargetVrfCfgHandler();

  /// Installs the rules of all targets, whether the agent is enabled or not.
  void LoadInitialConfig(int cdb_socket) override;
  void StartCommit() override;

  /// Forgets the rules that were added during the commit.
  void ApplyCommitConfig() override;

  /// Withdraws the rule from before the commit and installs the one after it when a target's
  /// address, port or VRF changed; withdraws it when the target was deleted.
  confd_iter_ret HandleCfgVrf(confd_hkeypath_t* kp, confd_iter_op op, confd_value_t* old_value,
                              confd_value_t* new_value);

  /// The index of a VRF; 0, with a fault, when it cannot be read.
  uint32_t GetTargetVrf(int cdb_socket, const std::string& vrf);

  /// Adds or removes the rule of `target` as the configuration that `cdb_socket` reads has it: the
  /// running one for an addition, the one before the commit for a removal. A target that is not
  /// there, that is in no VRF or that has an IPv6 address has no rule. Throws
  /// boost::system::system_error for an address that is none.
  void AddDelIpRuleIntf(bool add, const std::string& target, int cdb_socket);

 private:
  void GetTargets(int cdb_socket);
  void ChangeRule(bool add, const IpRuleKey& rule, int cdb_socket);
  bool WasAdded(const IpRuleKey& rule) const;

  std::list<IpRuleKey> added_rules_;  ///< Since the last apply; one for each addition.
};
