// The one object of the process: it owns every handler and runs the framework.
#pragma once

#include <zlog.h>

#include <memory>

#include "app/intf_cfg.h"
#include "app/snmp_cfg_agent.h"
#include "app/snmp_cfg_dying_gasp.h"
#include "app/snmp_cfg_listen.h"
#include "app/snmp_cfg_target_vrf.h"
#include "app/snmp_data_listen.h"
#include "app/trace.h"
#include "vkos/callback.h"
#include "vkos/context.h"

class Application {
 public:
  /// HA callback: the node became active. Only logged; the daemon works the same in both roles.
  class GoActive : public vkos::Callback {
   public:
    bool Execute() override {
      APP_LOG(Instance().log_category_, app::kNotice, "SNMP daemon going Active.");
      return true;
    }
  };

  /// HA callback: the node became standby. Only logged.
  class GoStandby : public vkos::Callback {
   public:
    bool Execute() override {
      APP_LOG(Instance().log_category_, app::kNotice, "SNMP daemon going Standby.");
      return true;
    }
  };

  /// The single instance, constructed on first call. An exception of its construction propagates.
  static Application& Instance();

  /// Hands the handlers to the framework and runs its event loop until that ends. Exceptions that
  /// escape the framework become faults. Returns the process's exit status, which is always 0.
  int Run();

  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;

 private:
  Application();
  ~Application();

  void InstallContext();
  void CreateHandlers();
  void RunFramework();

  std::unique_ptr<SnmpAgentCfgHandler> agent_handler_;
  std::shared_ptr<SnmpListenCfgHandler> listen_handler_;
  std::unique_ptr<SnmpListenDataHandler> listen_data_handler_;
  /// Complete, and handed to no framework: the driver that sends the traps is not there yet.
  std::unique_ptr<DyingGaspTrapCfgHandler> dying_gasp_handler_;
  std::unique_ptr<IntfCfgHandler> intf_handler_;
  std::unique_ptr<TargetVrfCfgHandler> target_vrf_handler_;
  std::unique_ptr<GoActive> go_active_;
  std::unique_ptr<GoStandby> go_standby_;
  zlog_category_s* log_category_ = nullptr;
};
