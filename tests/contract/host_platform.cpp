#include <gtest/gtest.h>

#include <algorithm>
#include <boost/asio/ip/udp.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "network.h"
#include "platform_under_test.h"
#include "runtime/log.h"
#include "runtime/process.h"
#include "startup_json.h"
#include "vkconfd/app_interface.h"

namespace contract {

namespace {

/// The number of a level's name.
std::string LevelNumber(const std::string& name) {
  return std::to_string(name == "detail"     ? host::kDetail
                        : name == "progress" ? host::kProgress
                                             : host::kNotice);
}

/// A record of `category` as PlatformUnderTest has it; empty for any other line.
std::string RecordOf(const std::string& line, const std::string& category) {
  static const std::regex record(R"(\S+ (\w+) +(\S+) \[(\S+):\d+ (\S+)\] (.*))");
  std::smatch parts;
  if (!std::regex_match(line, parts, record) || parts[2] != category) return "";
  return parts.str(3) + " " + parts.str(4) + " " + LevelNumber(parts.str(1)) + " " + parts.str(5);
}

/// Standard error, kept from the start of the object to its end.
class KeptErrors {
 public:
  KeptErrors() { testing::internal::CaptureStderr(); }
  ~KeptErrors() { fputs(testing::internal::GetCapturedStderr().c_str(), stderr); }
  KeptErrors(const KeptErrors&) = delete;
  KeptErrors& operator=(const KeptErrors&) = delete;

  /// What came since the start or the last call.
  static std::string Take() {
    const std::string text = testing::internal::GetCapturedStderr();
    testing::internal::CaptureStderr();
    return text;
  }
};

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
  HostPlatform() {
    setenv("CONFIGURATION_DIRECTORY", folder_.Path().c_str(), 1);
    setenv("STATE_DIRECTORY", folder_.Path().c_str(), 1);
    setenv("RUNTIME_DIRECTORY", folder_.Path().c_str(), 1);
    setenv("SNMP_APP_MODELS", MODELS_FOLDER, 1);
    setenv("SNMP_APP_LOG_LEVEL", "detail", 1);
    unsetenv("INVOCATION_ID");  // Records go to standard error only.
  }
  ~HostPlatform() override { vkos::the_context.reset(); }

  void InstallContext(const vkos::Context::HaStateChangeCallbacks& callbacks) override {
    const vkmw_process_signature_t signature = {"contract"};
    vkos::the_context = std::make_unique<vkos::Context>(&signature, &callbacks);
  }

  void Start(const Configuration& configuration,
             const std::vector<vkconfd::ConfigHandler*>& handlers,
             const std::vector<vkconfd::DataHandler*>& data_handlers) override {
    Write(configuration);
    app_interface_ = std::make_unique<vkconfd::AppInterface>(
        vkos::the_context->GetVkmw(), vkmw_trace_register_category("contract"), "contract",
        handlers, std::vector<vkconfd::ActionHandler*>{}, data_handlers, ELEM_CONFD_PHASE_2, 0);
    Process().loop.restart();
    Process().loop.poll();
  }

  bool Commit(const Configuration& configuration) override {
    Write(configuration);
    const size_t faults = FaultTexts().size();
    Process().Reload();
    const std::vector<std::string> texts = FaultTexts();
    return std::none_of(texts.begin() + static_cast<std::ptrdiff_t>(faults), texts.end(),
                        [](const std::string& text) {
                          return text.rfind("start-up configuration refused", 0) == 0;
                        });
  }

  void Stop() override { app_interface_.reset(); }

  std::string EnterNetwork() override {
    std::string refused = host::test::EnterNewNetwork();
    if (refused.empty()) host::test::Output("ip link set lo up");
    return refused;
  }

  void RefuseListener(uint16_t port) override {
    holder_.open(boost::asio::ip::udp::v4());
    holder_.bind({boost::asio::ip::address_v4::loopback(), port});
  }

  bool RunUntil(const std::function<bool()>& condition, long limit_ms) override {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limit_ms);
    Process().loop.restart();
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
      Process().loop.run_one_until(deadline);
    }
    return condition();
  }

  void RunFor(long ms) override {
    Process().loop.restart();
    Process().loop.run_for(std::chrono::milliseconds(ms));
  }

  void GoActive() override { raise(SIGUSR1); }
  void GoStandby() override { raise(SIGUSR2); }

  std::vector<std::string> FaultTexts() const override {
    std::vector<std::string> texts;
    for (const host::Fault& fault : Process().faults) texts.push_back(fault.text);
    return texts;
  }

  void WatchLog() override { kept_errors_ = std::make_unique<KeptErrors>(); }

  std::vector<std::string> TakeLog(const std::string& category) override {
    std::istringstream lines(KeptErrors::Take());
    std::vector<std::string> records;
    for (std::string line; std::getline(lines, line);) {
      const std::string record = RecordOf(line, category);
      if (!record.empty()) records.push_back(record);
    }
    return records;
  }

 private:
  static host::Process& Process() { return vkos::the_context->GetVkmw()->process; }

  void Write(const Configuration& configuration) {
    std::ofstream file(folder_.Path() + "/startup.json");
    file << StartupJson(configuration);
  }

  TemporaryFolder folder_;
  boost::asio::io_context holders_loop_;
  boost::asio::ip::udp::socket holder_{holders_loop_};
  std::unique_ptr<vkconfd::AppInterface> app_interface_;
  std::unique_ptr<KeptErrors> kept_errors_;
};

}  // namespace

std::unique_ptr<PlatformUnderTest> MakePlatform() { return std::make_unique<HostPlatform>(); }

}  // namespace contract
