// One connected application: its handlers, the configuration and the SNMP agent beside them.
#pragma once

#include <string>
#include <vector>

#include "config/engine.h"
#include "delivery/change.h"
#include "framework/agent_settings.h"
#include "runtime/folders.h"
#include "snmp/agent.h"
#include "vkconfd/base_handler.h"
#include "vkconfd/config_handler.h"

namespace host {

class Framework : public VkConfdInterface {
 public:
  /// Loads the models and brings the agent up, without listeners. The handlers stay the caller's.
  /// Throws std::exception when the models cannot be loaded.
  Framework(const Folders& folders, std::vector<vkconfd::ConfigHandler*> handlers);

  /// Disconnects the handlers and closes the listeners.
  ~Framework() override;

  Framework(const Framework&) = delete;
  Framework& operator=(const Framework&) = delete;

  /// The one of this process, or null.
  static Framework* Current();

  /// Brings the stored configuration into force, without one the start-up file, and connects the
  /// handlers to it. An exception of a handler propagates.
  void Connect(ELEM_CONFD_PHASE_ET phase);

  /// Replaces the running configuration by the start-up file and delivers the changes; a refused
  /// file is reported as a fault and changes nothing.
  void Reload();

  /// Makes the agent's listeners those of the running configuration; returns the ones that failed.
  std::vector<ListenerFailure> RebindAgent();

  int MaapiSocket() override;

 private:
  void LoadConfiguration();
  void ReplaceByStartupFile();
  void ConnectHandler(vkconfd::ConfigHandler* handler, ELEM_CONFD_PHASE_ET phase);
  static void Disconnect(vkconfd::ConfigHandler* handler);
  void Deliver(std::vector<common::Change>& changes);

  /// What the agent follows without being told by a handler: its communities, and that a disabled
  /// agent has no listeners.
  void SettleAgent();
  AgentSettings RunningAgentSettings();

  std::string startup_file_;
  std::vector<vkconfd::ConfigHandler*> handlers_;
  bool connected_ = false;
  Engine engine_;
  SnmpAgent agent_;
};

}  // namespace host
