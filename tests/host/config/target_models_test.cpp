// Notification targets: what the models and the check beside them accept and refuse.
#include <gmock/gmock.h>

#include <map>
#include <string>

#include "config/target_check.h"
#include "support.h"

namespace host::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

/// Members of a JSON object, each value as its JSON text.
using Members = std::map<std::string, std::string>;

std::string Object(const Members& members) {
  std::string text;
  for (const auto& [name, value] : members) {
    if (!value.empty()) text += (text.empty() ? "" : ",") + ("\"" + name + "\":" + value);
  }
  return "{" + text + "}";
}

std::string Text(const std::string& text) { return "\"" + text + "\""; }

/// 10.0.0.5 port 162, the same with other ends, 2001:db8::5 port 162, and nothing of the kind.
constexpr char kFive[] = "CgAABQCi";
constexpr char kSix[] = "CgAABgCi";
constexpr char kFivePort163[] = "CgAABQCj";
constexpr char kFiveV6[] = "IAENuAAAAAAAAAAAAAAABQCi";
constexpr char kFiveBytes[] = "CgAABQA=";

Members Target(const std::string& name) {
  return {{"name", Text(name)}, {"ip", Text("10.0.0.5")}, {"udp-port", "162"}};
}

Members Row(const std::string& name) {
  return {{"snmpTargetAddrName", Text(name)},
          {"snmpTargetAddrTAddress", Text(kFive)},
          {"snmpTargetAddrParams", Text("v2c")}};
}

/// One target and its row; tests change what they are about. An empty value leaves a member out.
struct Configuration {
  Members target = Target("t1");
  Members row = Row("t1");
  Members params = {{"snmpTargetParamsName", Text("v2c")},
                    {"snmpTargetParamsMPModel", "1"},
                    {"snmpTargetParamsSecurityName", Text("public")}};
  std::string more_targets;
  std::string more_rows;

  std::string Json() const {
    return R"({"metacli-internal:internal":{"vrf-config":{"stringTOindex":[)"
           R"({"name":"red","vrf-idx":100},{"name":"blue","vrf-idx":200}]}},)"
           R"("snmp:snmp":{"target":[)" +
           Object(target) + more_targets + R"(]},"SNMP-TARGET-MIB:SNMP-TARGET-MIB":{)" +
           R"("snmpTargetAddrTable":{"snmpTargetAddrEntry":[)" + Object(row) + more_rows +
           R"(]},"snmpTargetParamsTable":{"snmpTargetParamsEntry":[)" + Object(params) + "]}}}";
  }

  /// A second target and its row.
  void Add(const Members& second_target, const Members& second_row) {
    more_targets = "," + Object(second_target);
    more_rows = "," + Object(second_row);
  }
};

void Check(const Configuration& configuration) {
  const host::Tree tree = Read(DeviceModels(), configuration.Json());
  host::CheckTargets(tree.get());
}

void ExpectRefused(const Configuration& configuration, const char* place, const char* reason) {
  EXPECT_THAT([&] { Check(configuration); },
              ThrowsMessage<std::runtime_error>(AllOf(HasSubstr(place), HasSubstr(reason))))
      << configuration.Json();
}

TEST(TargetModels, ATargetWithItsRowIsAccepted) { EXPECT_NO_THROW(Check({})); }

TEST(TargetModels, AConfigurationWithoutTargetsIsAccepted) {
  const host::Tree tree = Read(DeviceModels(), "{}");
  EXPECT_NO_THROW(host::CheckTargets(tree.get()));
  EXPECT_NO_THROW(host::CheckTargets(nullptr));
}

TEST(TargetModels, Ipv6TargetsAreAcceptedInAnyForm) {
  for (const char* ip : {"2001:db8::5", "2001:DB8:0:0::5"}) {
    Configuration configuration;
    configuration.target["ip"] = Text(ip);
    configuration.row["snmpTargetAddrTAddress"] = Text(kFiveV6);
    EXPECT_NO_THROW(Check(configuration)) << ip;
  }
}

TEST(TargetModels, TwoTargetsMayHaveTheSameRule) {
  Configuration configuration;
  configuration.target["vrf"] = Text("red");
  Members second = Target("t2");
  second["vrf"] = Text("red");
  configuration.Add(second, Row("t2"));
  EXPECT_NO_THROW(Check(configuration));
}

TEST(TargetModels, OneAddressAndPortInTwoVrfsIsRefused) {
  for (const char* vrf : {"blue", ""}) {
    Configuration configuration;
    configuration.target["vrf"] = Text("red");
    Members second = Target("t2");
    second["vrf"] = *vrf == '\0' ? "" : Text(vrf);
    configuration.Add(second, Row("t2"));
    ExpectRefused(configuration, "/snmp:snmp/target[name='t2']: 10.0.0.5 port 162 is in ",
                  "but for target \"t1\" in VRF red");
  }
}

TEST(TargetModels, TheLastPortIsForTargetsThatNeedNoRule) {
  Configuration configuration;
  configuration.target["udp-port"] = "65535";
  configuration.row["snmpTargetAddrTAddress"] = Text("CgAABf//");
  EXPECT_NO_THROW(Check(configuration));
  configuration.target["vrf"] = Text("red");
  ExpectRefused(configuration, "/snmp:snmp/target[name='t1']", "cannot have port 65535");
}

struct Refusal {
  const char* member;
  const char* value;
  const char* place;
  const char* reason;
};

TEST(TargetModels, MembersOfATargetAreChecked) {
  const Refusal refusals[] = {
      {"ip", "\"10.0.0.256\"", "/snmp:snmp/target/ip", "expected an IPv4 or IPv6 address"},
      {"ip", "\"10.0.0\"", "/snmp:snmp/target/ip", "expected an IPv4 or IPv6 address"},
      {"ip", "\"fe80::1%eth0\"", "/snmp:snmp/target/ip", "expected an IPv4 or IPv6 address"},
      {"ip", "", "[name='t1']", "Mandatory node \"ip\""},
      {"udp-port", "0", "udp-port", "expected 1 to 65535"},
      {"udp-port", "65536", "udp-port", "expected 1 to 65535"},
      {"udp-port", "", "[name='t1']", "Mandatory node \"udp-port\""},
      {"vrf", "\"green\"", "[name='t1']/vrf", "Invalid leafref value \"green\""},
      {"name", "\"t{1}\"", "target", "without blanks, double quotes and braces"},
      {"name", "", "target", "missing its key"},
  };
  for (const Refusal& refusal : refusals) {
    Configuration configuration;
    configuration.target[refusal.member] = refusal.value;
    ExpectRefused(configuration, refusal.place, refusal.reason);
  }
}

TEST(TargetModels, MembersOfARowAreChecked) {
  const Refusal refusals[] = {
      {"snmpTargetAddrTAddress", "", "[snmpTargetAddrName='t1']",
       "Mandatory node \"snmpTargetAddrTAddress\""},
      {"snmpTargetAddrTAddress", "\"*\"", "snmpTargetAddrTAddress", "bytes in base64"},
      {"snmpTargetAddrTAddress", "\"\"", "snmpTargetAddrTAddress", "1 to 255 bytes"},
      {"snmpTargetAddrParams", "", "[snmpTargetAddrName='t1']",
       "Mandatory node \"snmpTargetAddrParams\""},
      {"snmpTargetAddrParams", "\"v3\"", "[snmpTargetAddrName='t1']/snmpTargetAddrParams",
       "Invalid leafref value \"v3\""},
      {"snmpTargetAddrName", "\"t 1\"", "snmpTargetAddrEntry",
       "without blanks, double quotes and braces"},
  };
  for (const Refusal& refusal : refusals) {
    Configuration configuration;
    configuration.row[refusal.member] = refusal.value;
    ExpectRefused(configuration, refusal.place, refusal.reason);
  }
}

TEST(TargetModels, MembersOfParametersAreChecked) {
  const Refusal refusals[] = {
      {"snmpTargetParamsMPModel", "-1", "snmpTargetParamsMPModel", "expected 0 to 2147483647"},
      {"snmpTargetParamsMPModel", "", "[snmpTargetParamsName='v2c']", "Mandatory node"},
      {"snmpTargetParamsSecurityName", "", "[snmpTargetParamsName='v2c']", "Mandatory node"},
      {"snmpTargetParamsSecurityName", "\"a b\"", "snmpTargetParamsSecurityName",
       "without blanks, quotes and backslashes"},
      {"snmpTargetParamsSecurityLevel", "\"none\"", "snmpTargetParamsSecurityLevel",
       "expected one of noAuthNoPriv, authNoPriv, authPriv"},
  };
  for (const Refusal& refusal : refusals) {
    Configuration configuration;
    configuration.params[refusal.member] = refusal.value;
    ExpectRefused(configuration, refusal.place, refusal.reason);
  }
}

TEST(TargetModels, ATargetNeedsARowAndARowATarget) {
  Configuration configuration;
  configuration.row["snmpTargetAddrName"] = Text("other");
  ExpectRefused(configuration, "/snmp:snmp/target[name='t1']: ", "has no row");
  configuration = {};
  configuration.more_rows = "," + Object(Row("t2"));
  ExpectRefused(configuration, "snmpTargetAddrEntry[snmpTargetAddrName='t2']: ",
                "has no /snmp/target of this name");
}

TEST(TargetModels, ARowHasTheAddressAndPortOfItsTarget) {
  struct Mismatch {
    const char* address;
    const char* reason;
  };
  const Mismatch mismatches[] = {
      {kSix, "the row has 10.0.0.6 port 162, the target of this name 10.0.0.5 port 162"},
      {kFivePort163, "the row has 10.0.0.5 port 163, the target of this name 10.0.0.5 port 162"},
      {kFiveV6, "the row has 2001:db8::5 port 162, the target of this name 10.0.0.5 port 162"},
      {kFiveBytes, "the row has 5 bytes, which are no address and port, the target"},
  };
  for (const Mismatch& mismatch : mismatches) {
    Configuration configuration;
    configuration.row["snmpTargetAddrTAddress"] = Text(mismatch.address);
    ExpectRefused(
        configuration,
        "snmpTargetAddrEntry[snmpTargetAddrName='t1']/snmpTargetAddrTAddress: ", mismatch.reason);
  }
}

}  // namespace
}  // namespace host::test
