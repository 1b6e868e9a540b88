#include "app/application.h"

#include <exception>
#include <vector>

#include "app/signal.h"
#include "vkconfd/app_interface.h"

namespace app {

const vkmw_sig_t kTimerSignal = {"snmp-app-timer"};

}  // namespace app

namespace {

const vkmw_process_signature_t kProcessSignature = {"snmp-app"};

// What escapes the framework is known to operators by these two numbers, so they stay when the
// source moves.
constexpr int kStandardExceptionFault = 69;
constexpr int kUnknownExceptionFault = 72;

}  // namespace

Application& Application::Instance() {
  static Application instance;
  return instance;
}

Application::Application() {
  InstallContext();
  log_category_ = vkmw_trace_register_category(app::kProgramName);
  CreateHandlers();
}

Application::~Application() = default;

void Application::InstallContext() {
  go_active_ = std::make_unique<GoActive>();
  go_standby_ = std::make_unique<GoStandby>();
  const vkos::Context::HaStateChangeCallbacks callbacks = {
      go_active_.get(), go_standby_.get(), {nullptr, nullptr, nullptr}};
  vkos::the_context = std::make_unique<vkos::Context>(&kProcessSignature, &callbacks);
}

void Application::CreateHandlers() {
  agent_handler_ = std::make_unique<SnmpAgentCfgHandler>();
  dying_gasp_handler_ = std::make_unique<DyingGaspTrapCfgHandler>();
  listen_handler_ = std::make_shared<SnmpListenCfgHandler>();
  listen_data_handler_ = std::make_unique<SnmpListenDataHandler>(listen_handler_);
  target_vrf_handler_ = std::make_unique<TargetVrfCfgHandler>();
  intf_handler_ = std::make_unique<IntfCfgHandler>(listen_handler_);
}

int Application::Run() {
  APP_LOG(log_category_, app::kNotice, "Initializing SNMP daemon.");
  try {
    RunFramework();
  } catch (const std::exception& exception) {
    APP_FAULT_FROM(__func__, 0, kStandardExceptionFault, "Exception caught!\n'%s'\n",
                   exception.what());
  } catch (...) {
    APP_FAULT_FROM(__func__, 0, kUnknownExceptionFault, "Unknown exception error!\n");
  }
  APP_LOG(log_category_, app::kNotice, "SNMP daemon has finished!");
  return 0;
}

void Application::RunFramework() {
  vkmw_t* vkmw = vkos::the_context->GetVkmw();
  const std::vector<vkconfd::ConfigHandler*> config_handlers = {
      agent_handler_.get(), listen_handler_.get(), intf_handler_.get(), target_vrf_handler_.get()};
  const std::vector<vkconfd::ActionHandler*> action_handlers;
  const std::vector<vkconfd::DataHandler*> data_handlers = {listen_data_handler_.get()};
  const vkconfd::AppInterface app_interface(vkmw, log_category_, app::kProgramName, config_handlers,
                                            action_handlers, data_handlers, ELEM_CONFD_PHASE_2, 0);
  vkos::the_context->GetServer().Run();
}
