#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "platform_under_test.h"
#include "runtime/event_loop.h"
#include "runtime/faults.h"
#include "vkconfd/app_interface.h"

namespace contract {

namespace {

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

std::string Joined(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : ", ") + part;
  return text;
}

std::string CommunityRow(const std::string& name) {
  std::string row;
  for (const char* leaf :
       {"snmpCommunityIndex", "snmpCommunityName", "snmpCommunitySecurityName"}) {
    row += (row.empty() ? "" : ", ") + Quoted(leaf) + ": " + Quoted(name);
  }
  return "{" + row + "}";
}

std::string Json(const Configuration& configuration) {
  std::vector<std::string> extra;
  for (const std::string& entry : configuration.extra) extra.push_back(Quoted(entry));
  std::vector<std::string> rows;
  for (const std::string& name : configuration.communities) rows.push_back(CommunityRow(name));
  return R"({"confd_dyncfg:confdConfig": {"snmpAgent": {"enabled": )" +
         std::string(configuration.enabled ? "true" : "false") + R"(, "ip": )" +
         Quoted(configuration.ip) + R"(, "port": )" + std::to_string(configuration.port) +
         R"(, "extraIpPorts": [)" + Joined(extra) +
         R"(]}}, "SNMP-COMMUNITY-MIB:SNMP-COMMUNITY-MIB": {"snmpCommunityTable": )" +
         R"({"snmpCommunityEntry": [)" + Joined(rows) + "]}}}";
}

/// A folder that goes with its object.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    char name[] = "/tmp/snmp-app-contract-XXXXXX";
    if (mkdtemp(name) == nullptr) throw std::runtime_error("no temporary folder");
    path_ = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

class HostPlatform : public PlatformUnderTest {
 public:
  HostPlatform() : faults_before_(host::LastFaults().size()) {
    setenv("CONFIGURATION_DIRECTORY", folder_.Path().c_str(), 1);
    setenv("STATE_DIRECTORY", folder_.Path().c_str(), 1);
    setenv("SNMP_APP_MODELS", MODELS_FOLDER, 1);
  }
  ~HostPlatform() override { vkos::the_context.reset(); }

  void InstallContext(const vkos::Context::HaStateChangeCallbacks& callbacks) override {
    const vkmw_process_signature_t signature = {"contract"};
    vkos::the_context = std::make_unique<vkos::Context>(&signature, &callbacks);
  }

  void Start(const Configuration& configuration,
             const std::vector<vkconfd::ConfigHandler*>& handlers) override {
    Write(configuration);
    app_interface_ = std::make_unique<vkconfd::AppInterface>(
        vkos::the_context->GetVkmw(), vkmw_trace_register_category("contract"), "contract",
        handlers, std::vector<vkconfd::ActionHandler*>{},
        std::vector<vkconfd::DataHandler*>{&data_handler_}, ELEM_CONFD_PHASE_2, 0);
    host::Loop().restart();
    host::Loop().poll();
  }

  void Commit(const Configuration& configuration) override {
    Write(configuration);
    host::Reload();
  }

  void Stop() override { app_interface_.reset(); }

  bool RunUntil(const std::function<bool()>& condition, long limit_ms) override {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limit_ms);
    host::Loop().restart();
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
      host::Loop().run_one_until(deadline);
    }
    return condition();
  }

  void RunFor(long ms) override {
    host::Loop().restart();
    host::Loop().run_for(std::chrono::milliseconds(ms));
  }

  void GoActive() override { raise(SIGUSR1); }
  void GoStandby() override { raise(SIGUSR2); }

  std::vector<std::string> FaultTexts() const override {
    std::vector<std::string> texts;
    for (size_t i = faults_before_; i < host::LastFaults().size(); ++i) {
      texts.push_back(host::LastFaults()[i].text);
    }
    return texts;
  }

 private:
  void Write(const Configuration& configuration) {
    std::ofstream file(folder_.Path() + "/startup.json");
    file << Json(configuration);
  }

  TemporaryFolder folder_;
  size_t faults_before_;
  IdleDataHandler data_handler_;
  std::unique_ptr<vkconfd::AppInterface> app_interface_;
};

}  // namespace

std::unique_ptr<PlatformUnderTest> MakePlatform() { return std::make_unique<HostPlatform>(); }

}  // namespace contract
