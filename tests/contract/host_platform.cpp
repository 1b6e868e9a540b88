#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "platform_under_test.h"
#include "runtime/event_loop.h"
#include "runtime/faults.h"
#include "runtime/log.h"
#include "transport_address.h"
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

/// The text of bytes in base 64.
std::string Base64(const std::string& bytes) {
  static constexpr char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const std::string group = (bytes.substr(i, 3) + std::string(2, '\0')).substr(0, 3);
    uint32_t bits = 0;
    for (const char byte : group) bits = bits << 8 | static_cast<unsigned char>(byte);
    for (const int shift : {18, 12, 6, 0}) text += kDigits[bits >> shift & 63];
  }
  const size_t padding = (3 - bytes.size() % 3) % 3;
  return text.substr(0, text.size() - padding) + std::string(padding, '=');
}

/// The rows that `row` makes of elements, between brackets.
template <typename Element, typename MakeRow>
std::string Rows(const std::vector<Element>& elements, MakeRow row) {
  std::vector<std::string> rows;
  for (const Element& element : elements) rows.push_back(row(element));
  return "[" + Joined(rows) + "]";
}

std::string TargetRow(const Target& target) {
  return R"({"name": )" + Quoted(target.name) +
         (target.vrf.empty() ? "" : R"(, "vrf": )" + Quoted(target.vrf)) + R"(, "ip": )" +
         Quoted(target.ip) + R"(, "udp-port": )" + std::to_string(target.port) + "}";
}

std::string AddressRow(const Target& target) {
  return R"({"snmpTargetAddrName": )" + Quoted(target.name) + R"(, "snmpTargetAddrTAddress": )" +
         Quoted(Base64(TransportAddress(target.ip, target.port))) +
         R"(, "snmpTargetAddrParams": )" + Quoted(target.name) + "}";
}

std::string ParametersRow(const Target& target) {
  return R"({"snmpTargetParamsName": )" + Quoted(target.name) + R"(, "snmpTargetParamsMPModel": )" +
         std::to_string(target.model) + R"(, "snmpTargetParamsSecurityName": )" +
         Quoted(target.sec_name) + "}";
}

std::string VrfRow(const Vrf& vrf) {
  return R"({"name": )" + Quoted(vrf.name) + R"(, "vrf-idx": )" + std::to_string(vrf.index) + "}";
}

/// The members of a configuration that tell where notifications go.
std::string TargetsJson(const Configuration& configuration) {
  return R"("metacli-internal:internal": {"vrf-config": {"stringTOindex": )" +
         Rows(configuration.vrfs, VrfRow) + R"(}}, "snmp:snmp": {"target": )" +
         Rows(configuration.targets, TargetRow) +
         R"(}, "SNMP-TARGET-MIB:SNMP-TARGET-MIB": {"snmpTargetAddrTable": )" +
         R"({"snmpTargetAddrEntry": )" + Rows(configuration.targets, AddressRow) +
         R"(}, "snmpTargetParamsTable": {"snmpTargetParamsEntry": )" +
         Rows(configuration.targets, ParametersRow) + "}}";
}

std::string Json(const Configuration& configuration) {
  std::vector<std::string> extra;
  for (const std::string& entry : configuration.extra) extra.push_back(Quoted(entry));
  return R"({"confd_dyncfg:confdConfig": {"snmpAgent": {"enabled": )" +
         std::string(configuration.enabled ? "true" : "false") + R"(, "ip": )" +
         Quoted(configuration.ip) + R"(, "port": )" + std::to_string(configuration.port) +
         R"(, "extraIpPorts": [)" + Joined(extra) +
         R"(]}}, "SNMP-COMMUNITY-MIB:SNMP-COMMUNITY-MIB": {"snmpCommunityTable": )" +
         R"({"snmpCommunityEntry": )" + Rows(configuration.communities, CommunityRow) + "}}, " +
         TargetsJson(configuration) + "}";
}

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
  HostPlatform() : faults_before_(host::LastFaults().size()) {
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
  void Write(const Configuration& configuration) {
    std::ofstream file(folder_.Path() + "/startup.json");
    file << Json(configuration);
  }

  TemporaryFolder folder_;
  size_t faults_before_;
  IdleDataHandler data_handler_;
  std::unique_ptr<vkconfd::AppInterface> app_interface_;
  std::unique_ptr<KeptErrors> kept_errors_;
};

}  // namespace

std::unique_ptr<PlatformUnderTest> MakePlatform() { return std::make_unique<HostPlatform>(); }

}  // namespace contract
