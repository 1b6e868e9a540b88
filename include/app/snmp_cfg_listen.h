// Follows the interfaces that the SNMP agent listens on and keeps the redirect rules of those that
// live in a VRF.
#pragma once

#include <boost/any.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "app/handler.h"
#include "app/redir_port_table.h"
#include "confd_lib.h"

class SnmpListenCfgHandler : public app::CfgHandler {
 public:
  /// What is known of one listening interface.
  struct InterfaceInfo {
    uint32_t vrf = 0;         ///< Index of its VRF; 0 is none.
    std::string kernel_name;  ///< The name that rules match on.
    uint16_t udp_port = 0;    ///< Where clients send requests; 0 is not configured yet.
    uint16_t redir_port = 0;  ///< Where they are redirected to; 0 is not known yet.
  };

  /// The records between commits, by name of the listening interface.
  struct InterfaceStash {
    using Cleanup = std::function<void(const std::string& name, boost::any context)>;

    std::map<std::string, InterfaceInfo> entries;
    std::map<std::string, bool> marks;  ///< Whether the last load read the name.
    Cleanup cleanup;                    ///< For each name that a load no longer found.
    boost::any cleanup_context = static_cast<SnmpListenCfgHandler*>(nullptr);
  };

  SnmpListenCfgHandler();
  ~SnmpListenCfgHandler() override;

  void LoadInitialConfig(int cdb_socket) override;

  /// Applies, then drops the records that the load did not find again.
  void ApplyInitialConfig() override;
  void StartCommit() override;

  /// Installs the rules of every record while the agent is enabled, removes them while it is not.
  void ApplyCommitConfig() override;

  /// Takes over one change of the agent's enable flag or of the interface list.
  confd_iter_ret HandleCfg(confd_hkeypath_t* kp, confd_iter_op op, confd_value_t* old_value,
                           confd_value_t* cfg_value);

  /// Fills VRF, kernel name and redirect port of `info`, whose UDP port is set already, from the
  /// running configuration that `cdb_socket` reads.
  void GatherInterfaceInfo(int cdb_socket, const std::string& name, InterfaceInfo& info);

  /// The redirect port of `name`, allocated on first use; 0 when none is left.
  uint16_t AllocateRedirPort(const std::string& name);

  /// The interface changed: removes its rules and reads its facts anew. An unknown name is logged
  /// only.
  void UpdateEntry(const std::string& name);

  /// Installs (removes) the redirect rules of one interface. Nothing for an interface in no VRF or
  /// without both ports; a refusal of the rule library is a fault.
  void SetInterfaceRules(const std::string& name, const InterfaceInfo& info);
  void DelInterfaceRules(const std::string& name, const InterfaceInfo& info);

  const InterfaceStash& Stash() const { return *stash_; }

 private:
  void ReservePort(int cdb_socket, int row);
  void LoadInterface(int cdb_socket, int row);
  confd_iter_ret IgnoreTag(uint32_t tag) const;

  /// The record of `name`, without its rules in the kernel, for good or until its port is another;
  /// null when there is none, which is a fault of what was intended.
  InterfaceInfo* TakeRulesOff(const std::string& name, bool for_good);
  void SetPort(const std::string& name, InterfaceInfo& info, uint16_t udp_port) const;
  confd_iter_ret CreateEntry(const std::string& name);
  confd_iter_ret DeleteEntry(const std::string& name);

  std::unique_ptr<InterfaceStash> stash_;
  RedirPortTable redir_ports_;
  bool agent_enabled_ = false;
};

/// Callbacks of the stash and of the walk over it. `context` holds a `SnmpListenCfgHandler*`. An
/// exception, also that of a wrong context, becomes a fault.
void SetRules(const std::string& name, const SnmpListenCfgHandler::InterfaceInfo& info,
              boost::any context);
void DelRules(const std::string& name, const SnmpListenCfgHandler::InterfaceInfo& info,
              boost::any context);

/// Removes the rules of the stash's record of `name`; a missing record is a fault.
void CleanupRules(const std::string& name, boost::any context);
