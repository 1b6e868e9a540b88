// Keeps ConfD's SNMP agent bound to its configured address and to its list of extra addresses.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "app/handler.h"
#include "confd_lib.h"
#include "vkos/callback.h"
#include "vkos/timer.h"

class SnmpAgentCfgHandler : public app::CfgHandler {
 public:
  /// Reloads the agent's configuration from CDB and tries the bind again.
  class RetryBind : public vkos::Callback {
   public:
    explicit RetryBind(SnmpAgentCfgHandler* handler) : handler_(handler) {}

    /// One attempt; always true. Throws what the platform throws when no CDB session opens.
    bool Execute() override;

   private:
    SnmpAgentCfgHandler* handler_;
  };

  SnmpAgentCfgHandler();
  ~SnmpAgentCfgHandler() override;

  void LoadInitialConfig(int cdb_socket) override;
  void StartCommit() override;

  /// Forces ConfD's SNMP listener to rebind when every probe succeeded, else starts the retry.
  void ApplyCommitConfig() override;

  /// Takes over one changed leaf and probes what it names. Throws std::invalid_argument or
  /// std::out_of_range for an extra entry whose port is no number that fits unsigned long.
  confd_iter_ret HandleCfg(confd_hkeypath_t* kp, confd_iter_op op, confd_value_t* old_value,
                           confd_value_t* new_value);

  /// True when a UDP socket can be bound to `address` (IPv4 or IPv6 text) and `port` right now. The
  /// socket is closed again.
  bool BindAgent(const std::string& address, uint16_t port);

  /// Probes every address:port word of a printed leaf-list; true when all of them can be bound.
  /// Throws as HandleCfg.
  bool BindExtra(const confd_value_t* list);

 private:
  void UpdateRebindReady();

  bool agent_enabled_ = false;
  std::string agent_ip_;
  uint16_t agent_port_ = 0;
  bool agent_bound_ = false;   ///< The last probe of address and port succeeded.
  bool extra_bound_ = false;   ///< The last probe of every extra entry succeeded.
  bool rebind_ready_ = false;  ///< Both of them; cleared when the rebind was forced.
  std::unique_ptr<RetryBind> retry_callback_;
  std::unique_ptr<vkos::Timer> retry_timer_;
  bool retry_running_ = false;
};
