// One connected application: its handlers, the configuration and the SNMP agent beside them.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "config/config_history.h"
#include "config/engine.h"
#include "delivery/change.h"
#include "framework/callpoints.h"
#include "framework/listener_history.h"
#include "framework/slow_retry.h"
#include "framework/target_rules.h"
#include "framework/told_events.h"
#include "netconf/event_log.h"
#include "netconf/server.h"
#include "rules/rules.h"
#include "rules/rules_monitor.h"
#include "runtime/folders.h"
#include "runtime/process.h"
#include "snmp/agent_calls.h"
#include "vkconfd/base_handler.h"
#include "vkconfd/config_handler.h"
#include "vkconfd/data_handler.h"

namespace host {

/// Lives and is called on the loop's thread, as its handlers are.
class Framework : public VkConfdInterface {
 public:
  /// Loads the models; becomes what `process` works on, which has no other one (asserted). `agent`
  /// follows the configuration; it has no listeners yet. NETCONF needs the folders
  /// `standard_models`, which may lack the models, and `runtime`. Process, agent and handlers stay
  /// the caller's and outlive the object. Throws std::exception when the models cannot be loaded or
  /// their callpoints are not those that the data handlers register.
  Framework(Process& process, AgentCalls& agent, const Folders& folders,
            std::vector<vkconfd::ConfigHandler*> handlers,
            std::vector<vkconfd::DataHandler*> data_handlers);

  /// Disconnects the handlers and removes the rules of the process; the agent's listeners stay.
  ~Framework() override;

  Framework(const Framework&) = delete;
  Framework& operator=(const Framework&) = delete;

  /// Connects the data handlers, brings the stored configuration into force, without one the
  /// start-up file, and connects the other handlers to it. An exception of a handler propagates.
  void Connect(ELEM_CONFD_PHASE_ET phase);

  /// Replaces the running configuration by the start-up file and delivers the changes; a refused
  /// file, and one while a session has the running configuration locked, is reported as a fault and
  /// changes nothing.
  void Reload();

  /// Makes the agent's listeners those of the running configuration; returns the ones that failed.
  std::vector<ListenerFailure> RebindAgent();

  /// An open listener was closed until it can be opened anew, for `reason`, or is open again.
  void NoteListener(const Endpoint& listener, bool bound, const std::string& reason) noexcept {
    told_.NoteListener(listener, bound, reason);
  }

  int MaapiSocket() override;

 private:
  void FollowEvents();
  LoadResult LoadStored();
  std::string LoadConfiguration();
  void SaveOrEnd(const std::string& text, const CommitRecord& record);
  void OpenNetconf();
  Tree State();
  std::string TakeFirstConfiguration();
  std::string TakeReload();
  std::string ReplaceByStartupFile(const char* operation);
  void ConnectHandler(vkconfd::ConfigHandler* handler, ELEM_CONFD_PHASE_ET phase);
  static void Disconnect(vkconfd::BaseHandler* handler);
  void DeliverOrEnd(std::vector<common::Change>& changes);
  void Deliver(std::vector<common::Change>& changes);

  /// What the agent follows without being told by a handler: its communities, and that a disabled
  /// agent has no listeners.
  void SettleAgent();

  /// Has operators be told of listeners that are wanted and were not asked of the agent yet.
  void TellWaitingListeners();

  /// Opens what the last rebind could not and what is wanted still; true when some of it is refused
  /// again.
  bool TryRefusedListeners();

  Process& process_;
  AgentCalls& agent_;
  Folders folders_;
  std::vector<vkconfd::ConfigHandler*> handlers_;
  std::vector<vkconfd::DataHandler*> data_handlers_;
  bool connected_ = false;
  Callpoints callpoints_;
  Engine engine_;
  ConfigHistory configurations_;
  EventLog events_;
  ToldEvents told_;
  ListenerHistory history_;
  std::set<Endpoint> waiting_;  ///< Told, and not in the history.
  SlowRetry configurations_retry_;
  SlowRetry listener_retry_;
  SlowRetry rules_retry_;
  uint64_t commits_ = 0;  ///< That were delivered.
  TargetRules target_rules_;
  Rules rules_;  // tells the agent of marks
  RulesMonitor monitor_;
  std::unique_ptr<NetconfServer> netconf_;
};

}  // namespace host
