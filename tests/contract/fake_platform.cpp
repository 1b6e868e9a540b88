#include <arpa/inet.h>

#include <utility>

#include "confd/value_text.h"
#include "fake_device.h"
#include "platform_under_test.h"
#include "transport_address.h"
#include "vkconfd/app_interface.h"

namespace contract {

namespace {

constexpr char kAgent[] = "/confd_dyncfg:confdConfig/snmpAgent/";
constexpr char kCommunities[] =
    "/SNMP_COMMUNITY_MIB:SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry";
constexpr char kAddresses[] =
    "/SNMP_TARGET_MIB:SNMP-TARGET-MIB/snmpTargetAddrTable/snmpTargetAddrEntry";
constexpr char kParameters[] =
    "/SNMP_TARGET_MIB:SNMP-TARGET-MIB/snmpTargetParamsTable/snmpTargetParamsEntry";
constexpr char kTargets[] = "/snmp/target";
constexpr char kL3[] = "/config/interface/l3";
constexpr char kListening[] = "/snmp/agent/listen/interface";
constexpr char kVrfs[] = "/metacli-internal:internal/metacli-internal:vrf-config/stringTOindex";

confd_value_t Address(const std::string& text) {
  in_addr v4 = {};
  in6_addr v6 = {};
  if (inet_pton(AF_INET, text.c_str(), &v4) == 1) return common::MakeIpv4(v4);
  inet_pton(AF_INET6, text.c_str(), &v6);
  return common::MakeIpv6(v6);
}

void AddCommunity(fake::Database& database, const std::string& name) {
  const std::string row = kCommunities + ("{" + name + "}/");
  database.AddEntry(kCommunities, {{"snmpCommunityIndex", common::MakeBuf(name)}});
  database.Set(row + "snmpCommunityName", common::MakeBuf(name));
  database.Set(row + "snmpCommunitySecurityName", common::MakeBuf(name));
}

std::string Row(const char* list, const std::string& key) { return list + ("{" + key + "}/"); }

/// The target's rows of the two tables of SNMP-TARGET-MIB.
void AddRows(fake::Database& database, const Target& target) {
  const std::string address = Row(kAddresses, target.name);
  database.AddEntry(kAddresses, {{"snmpTargetAddrName", common::MakeBuf(target.name)}});
  database.Set(address + "snmpTargetAddrTAddress",
               common::MakeBinary(TransportAddress(target.ip, target.port)));
  database.Set(address + "snmpTargetAddrParams", common::MakeBuf(target.name));
  const std::string parameters = Row(kParameters, target.name);
  database.AddEntry(kParameters, {{"snmpTargetParamsName", common::MakeBuf(target.name)}});
  database.Set(parameters + "snmpTargetParamsMPModel", common::MakeInt32(target.model));
  database.Set(parameters + "snmpTargetParamsSecurityName", common::MakeBuf(target.sec_name));
}

void AddTarget(fake::Database& database, const Target& target) {
  const std::string row = Row(kTargets, target.name);
  database.AddEntry(kTargets, {{"name", common::MakeBuf(target.name)}});
  if (!target.vrf.empty()) database.Set(row + "vrf", common::MakeBuf(target.vrf));
  database.Set(row + "ip", Address(target.ip));
  database.Set(row + "udp-port", common::MakeUint16(target.port));
  AddRows(database, target);
}

void AddVrf(fake::Database& database, const Vrf& vrf) {
  database.AddEntry(kVrfs, {{"name", common::MakeBuf(vrf.name)}});
  database.Set(Row(kVrfs, vrf.name) + "vrf-idx", common::MakeUint32(vrf.index));
}

confd_ipv4_prefix Ipv4Prefix(const std::string& text) {
  confd_ipv4_prefix prefix = {};
  const size_t slash = text.find('/');
  inet_pton(AF_INET, text.substr(0, slash).c_str(), &prefix.ip);
  prefix.len = static_cast<uint8_t>(std::stoi(text.substr(slash + 1)));
  return prefix;
}

confd_ipv6_prefix Ipv6Prefix(const std::string& text) {
  confd_ipv6_prefix prefix = {};
  const size_t slash = text.find('/');
  inet_pton(AF_INET6, text.substr(0, slash).c_str(), &prefix.ip6);
  prefix.len = static_cast<uint8_t>(std::stoi(text.substr(slash + 1)));
  return prefix;
}

void AddL3(fake::Database& database, const L3& l3) {
  const std::string row = Row(kL3, l3.name);
  database.AddEntry(kL3, {{"name", common::MakeBuf(l3.name)}});
  if (!l3.vrf.empty()) database.Set(row + "vrf", common::MakeBuf(l3.vrf));
  if (!l3.kernel_name.empty()) {
    database.Set(row + "kernel-name", common::MakeBuf(l3.kernel_name));
  }
  if (!l3.ipv4.empty()) {
    database.Set(row + "ipv4/address/ip", common::MakeIpv4Prefix(Ipv4Prefix(l3.ipv4)));
  }
  if (!l3.ipv6.empty()) database.Set(row + "ipv6/enable", common::MakeBool(true));
  for (size_t i = 0; i < l3.ipv6.size(); ++i) {
    const std::string list = row + "ipv6/address";
    database.AddEntry(list, {{"index", common::MakeUint8(static_cast<uint8_t>(i))}});
    database.Set(Row(list.c_str(), std::to_string(i)) + "ip",
                 common::MakeIpv6Prefix(Ipv6Prefix(l3.ipv6[i])));
  }
}

void AddListening(fake::Database& database, const Listening& listening) {
  database.AddEntry(kListening, {{"name", common::MakeBuf(listening.name)}});
  database.Set(Row(kListening, listening.name) + "udp-port",
               common::MakeUint16(listening.udp_port));
}

void Fill(fake::Database& database, const Configuration& configuration) {
  const std::string agent = kAgent;
  database.Set(agent + "enabled", common::MakeBool(configuration.enabled));
  database.Set(agent + "ip", Address(configuration.ip));
  database.Set(agent + "port", common::MakeUint16(configuration.port));
  std::vector<confd_value_t> entries;
  for (const std::string& entry : configuration.extra) entries.push_back(common::MakeBuf(entry));
  database.Set(agent + "extraIpPorts", common::MakeList(entries));
  for (const std::string& name : configuration.communities) AddCommunity(database, name);
  for (const Vrf& vrf : configuration.vrfs) AddVrf(database, vrf);
  for (const Target& target : configuration.targets) AddTarget(database, target);
  for (const L3& l3 : configuration.l3) AddL3(database, l3);
  for (const Listening& listening : configuration.listening) AddListening(database, listening);
}

class FakePlatform : public PlatformUnderTest {
 public:
  FakePlatform() { device_.Reset(); }
  ~FakePlatform() override { vkos::the_context.reset(); }

  void InstallContext(const vkos::Context::HaStateChangeCallbacks& callbacks) override {
    const vkmw_process_signature_t signature = {"contract"};
    vkos::the_context = std::make_unique<vkos::Context>(&signature, &callbacks);
  }

  void Start(const Configuration& configuration,
             const std::vector<vkconfd::ConfigHandler*>& handlers,
             const std::vector<vkconfd::DataHandler*>& data_handlers) override {
    Fill(device_.confd.running, configuration);
    app_interface_ = std::make_unique<vkconfd::AppInterface>(
        vkos::the_context->GetVkmw(), vkmw_trace_register_category("contract"), "contract",
        handlers, std::vector<vkconfd::ActionHandler*>{}, data_handlers, ELEM_CONFD_PHASE_2, 0);
    vkos::the_context->GetServer().Run();
  }

  bool Commit(const Configuration& configuration) override {
    try {
      return device_.framework.Transact([&configuration](fake::Database& database) {
        database = fake::Database();
        Fill(database, configuration);
      });
    } catch (const std::exception&) {
      return false;
    }
  }

  void Stop() override { app_interface_.reset(); }

  std::string EnterNetwork() override { return {}; }

  void RefuseListener(uint16_t port) override {
    device_.confd.RefuseNext("maapi_rebind_listener", CONFD_ERR_EXTERNAL,
                             "127.0.0.1:" + std::to_string(port) + ": in use");
  }

  bool RunUntil(const std::function<bool()>& condition, long limit_ms) override {
    for (long ms = 0; ms < limit_ms && !condition(); ++ms) device_.clock.Advance(1);
    return condition();
  }

  void RunFor(long ms) override { device_.clock.Advance(ms); }

  void GoActive() override { device_.process.GoActive(); }
  void GoStandby() override { device_.process.GoStandby(); }

  std::vector<std::string> FaultTexts() const override {
    std::vector<std::string> texts;
    for (const fake::Fault& fault : device_.middleware.faults) texts.push_back(fault.text);
    return texts;
  }

  void WatchLog() override { device_.log.records.clear(); }

  std::vector<std::string> TakeLog(const std::string& category) override {
    std::vector<std::string> lines;
    for (const fake::LogRecord& record : std::exchange(device_.log.records, {})) {
      if (record.category != category) continue;
      lines.push_back(record.file + " " + record.function + " " + std::to_string(record.level) +
                      " " + record.text);
    }
    return lines;
  }

 private:
  fake::Device& device_ = fake::Device::Instance();
  std::unique_ptr<vkconfd::AppInterface> app_interface_;
};

}  // namespace

std::unique_ptr<PlatformUnderTest> MakePlatform() { return std::make_unique<FakePlatform>(); }

}  // namespace contract
