// What the device's models accept and refuse.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "config/store.h"
#include "config/target_check.h"
#include "support.h"

namespace host::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

struct Refusal {
  const char* file;
  const char* reason;
  const char* place;
};

// One row for each file of instances/invalid.
const Refusal kRefusals[] = {
    {"array", "Expected top-level JSON object", "ine number 1"},
    {"community_index_blank", "without blanks, double quotes and braces", "snmpCommunityIndex"},
    {"community_index_brace", "without blanks, double quotes and braces", "snmpCommunityIndex"},
    {"community_index_empty", "a name has 1 to 32 characters", "snmpCommunityIndex"},
    {"community_index_long", "a name has 1 to 32 characters", "snmpCommunityIndex"},
    {"community_index_quote", "without blanks, double quotes and braces", "snmpCommunityIndex"},
    {"community_name_backslash", "without blanks, quotes and backslashes", "snmpCommunityName"},
    {"community_name_blank", "without blanks, quotes and backslashes", "snmpCommunityName"},
    {"community_name_control", "Invalid character reference", "[snmpCommunityIndex='one']"},
    {"community_name_foreign", "without blanks, quotes and backslashes", "snmpCommunityName"},
    {"community_name_long", "a name has 1 to 127 characters", "snmpCommunityName"},
    {"community_name_quote", "without blanks, quotes and backslashes", "snmpCommunityName"},
    {"community_security_name_long", "a security name has 1 to 32", "snmpCommunitySecurityName"},
    {"community_twice", "Duplicate instance of \"snmpCommunityEntry\"",
     "[snmpCommunityIndex='one']"},
    {"community_without_key", "missing its key", "line number 6"},
    {"community_without_name", "Mandatory node \"snmpCommunityName\"",
     "[snmpCommunityIndex='two']"},
    {"community_without_security_name", "Mandatory node \"snmpCommunitySecurityName\"",
     "[snmpCommunityIndex='one']"},
    {"empty", "no content", ""},
    {"enabled_as_text", "expected true or false, without quotes", "snmpAgent/enabled"},
    {"extra_address", "expected an IPv4 address", "extraIpPorts"},
    {"extra_port", "port from 1 to 65535", "extraIpPorts"},
    {"extra_twice", "Duplicate instance of \"extraIpPorts\"", "[.='10.0.0.1:161']"},
    {"ip_name", "line 5, /confd_dyncfg:confdConfig/snmpAgent/ip: expected an IPv4 or IPv6 address",
     "snmpAgent/ip"},
    {"ip_out_of_range", "expected an IPv4 or IPv6 address", "snmpAgent/ip"},
    {"ip_zone", "expected an IPv4 or IPv6 address", "snmpAgent/ip"},
    {"l3_ipv4_length", "prefix length from 0 to 32", "ipv4/address/ip"},
    {"l3_ipv4_without_length", "prefix length from 0 to 32", "ipv4/address/ip"},
    {"l3_ipv6_groups", "eight groups, or of fewer", "address[index='1']/ip"},
    {"l3_ipv6_length", "prefix length from 0 to 128", "address[index='1']/ip"},
    {"l3_ipv6_without_ip", "Mandatory node \"ip\"", "address[index='1']"},
    {"l3_kernel_name_dots", "a name of dots only", "kernel-name"},
    {"l3_kernel_name_long", "has 1 to 15 characters", "kernel-name"},
    {"l3_kernel_name_slash", "double quotes, slashes, colons", "kernel-name"},
    {"l3_name_brace", "without blanks, double quotes and braces", "l3"},
    {"l3_vrf_unknown", "Invalid leafref value \"blue\"", "[name='one']/vrf"},
    {"listen_l3_empty", "no L3 interface has the rest", "[name='l3-']"},
    {"listen_l3_unknown", "no L3 interface has the rest", "[name='l3-two']"},
    {"listen_name_brace", "without blanks, double quotes and braces", "interface"},
    {"listen_port_too_big", "expected 1 to 65535", "udp-port"},
    {"listen_port_zero", "expected 1 to 65535", "udp-port"},
    {"listen_twice", "Duplicate instance of \"interface\"", "[name='eth0']"},
    {"listen_without_port", "Mandatory node \"udp-port\"", "[name='eth0']"},
    {"metadata_unknown", "Annotation definition for attribute \"confd_dyncfg:absent\" not found",
     "line number 5"},
    {"no_json", "Invalid character sequence \"hello", "ine number 1"},
    {"port_as_text", "expected 1 to 65535, without quotes", "snmpAgent/port"},
    {"port_too_big", "expected 1 to 65535", "snmpAgent/port"},
    {"port_twice", "Duplicate instance of \"port\"", "snmpAgent/port"},
    {"port_zero", "expected 1 to 65535", "snmpAgent/port"},
    {"target_address_row_long", "expected 1 to 255 bytes in base64", "snmpTargetAddrTAddress"},
    {"target_address_shared_by_vrf",
     "10.0.0.5 port 162 is in VRF red, but for target \"a\" in no VRF",
     "/snmp:snmp/target[name='b']: "},
    {"target_ipv6_compatible", "an IPv6 address that is written with dots cannot be a target's",
     "/snmp:snmp/target[name='one']/ip"},
    {"target_ipv6_mapped", "an IPv6 address that is written with dots cannot be a target's",
     "/snmp:snmp/target[name='one']/ip"},
    {"target_ipv6_row_address",
     "the row has 2001:db8::6 port 162, the target of this name 2001:db8::5 port 162",
     "[snmpTargetAddrName='one']/snmpTargetAddrTAddress: "},
    {"target_ipv6_row_ipv4",
     "the row has 10.0.0.5 port 162, the target of this name 2001:db8::5 port 162",
     "[snmpTargetAddrName='one']/snmpTargetAddrTAddress: "},
    {"target_ipv6_row_port",
     "the row has 2001:db8::5 port 41472, the target of this name 2001:db8::5 port 162",
     "[snmpTargetAddrName='one']/snmpTargetAddrTAddress: "},
    {"target_ipv6_row_zone",
     "the row has 22 bytes, which are no address and port, the target of this name 2001:db8::5",
     "[snmpTargetAddrName='one']/snmpTargetAddrTAddress: "},
    {"target_ipv6_shared_by_vrfs",
     "2001:db8::5 port 162 is in VRF blue, but for target \"a\" in VRF red",
     "/snmp:snmp/target[name='b']: "},
    {"target_params_mp_model", "expected 0 to 2147483647", "snmpTargetParamsMPModel"},
    {"target_params_security_model", "expected 1 to 2147483647", "snmpTargetParamsSecurityModel"},
    {"target_params_security_name_long", "a security name has 1 to 32",
     "snmpTargetParamsSecurityName"},
    {"target_row_missing", "has no row in SNMP-TARGET-MIB", "/snmp:snmp/target[name='two']: "},
    {"target_row_without_target", "has no /snmp/target of this name",
     "[snmpTargetAddrName='two']: "},
    {"text_behind", "more behind the end of the configuration", "at byte 3"},
    {"truncated", "Unexpected end-of-input", "line number 5"},
    {"unknown_leaf", "unknown element 'colour'", "line 4, /"},
    {"unknown_module", "there is no model 'foreign'", "line 2: "},
    {"unqualified", "did you mean '", "line 2: "},
    {"vrf_index_local", "a routing table of its own", "vrf-idx"},
    {"vrf_index_main", "a routing table of its own", "vrf-idx"},
    {"vrf_index_twice", "Unique data leaf(s) \"vrf-idx\"", "stringTOindex"},
    {"vrf_index_zero", "a routing table of its own", "vrf-idx"},
    {"vrf_without_index", "Mandatory node \"vrf-idx\"", "[name='red']"},
};

std::string Instance(const std::string& name) {
  return host::ReadFile(TEST_FOLDER "/instances/" + name);
}

/// A configuration that passed all that the engine has a whole one pass.
host::Tree ReadChecked(const std::string& json) {
  host::Tree tree = Read(DeviceModels(), json);
  host::CheckTargets(tree.get());
  return tree;
}

TEST(Models, EveryInvalidInstanceIsRefusedWithPlaceAndReason) {
  for (const Refusal& refusal : kRefusals) {
    const std::string text = Instance(std::string("invalid/") + refusal.file + ".json");
    EXPECT_THAT([&] { ReadChecked(text); },
                ThrowsMessage<std::runtime_error>(
                    AllOf(HasSubstr(refusal.reason), HasSubstr(refusal.place))))
        << refusal.file;
  }
}

TEST(Models, EveryInvalidInstanceHasItsReasonHere) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(TEST_FOLDER "/instances/invalid")) {
    files.push_back(entry.path().stem());
  }
  std::sort(files.begin(), files.end());
  std::vector<std::string> rows;
  for (const Refusal& refusal : kRefusals) rows.emplace_back(refusal.file);
  EXPECT_EQ(files, rows);
}

TEST(Models, EveryValidInstanceIsAcceptedAndSurvivesPrinting) {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(TEST_FOLDER "/instances/valid")) {
    const host::Tree tree = ReadChecked(host::ReadFile(entry.path()));
    const std::string text = host::PrintTree(tree.get());
    EXPECT_EQ(host::PrintTree(ReadChecked(text).get()), text) << entry.path();
    ++count;
  }
  EXPECT_GE(count, 6U);
}

TEST(Models, TextBehindAZeroByteIsNotOverlooked) {
  EXPECT_THAT([] { Read(DeviceModels(), std::string("{}\0{\"x\":1}", 10)); },
              ThrowsMessage<std::runtime_error>(HasSubstr("more behind the end")));
}

class Endpoint : public ::testing::TestWithParam<const char*> {
 protected:
  void ReadExtra() {
    Read(DeviceModels(), AgentJson(std::string("\"extraIpPorts\": [\"") + GetParam() + "\"]"));
  }
};

class GoodEndpoint : public Endpoint {};
class BadEndpoint : public Endpoint {};

TEST_P(GoodEndpoint, IsAccepted) { EXPECT_NO_THROW(ReadExtra()); }

TEST_P(BadEndpoint, IsRefusedWithWhatIsExpected) {
  EXPECT_THAT([this] { ReadExtra(); }, ThrowsMessage<std::runtime_error>(HasSubstr("expected ")));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, GoodEndpoint,
    ::testing::Values("10.0.0.1:161", "0.0.0.0:60600", "255.255.255.255:65535", "10.0.0.1:1",
                      "::1:161", "[::1]:161", "[::]:161", ":::161", "2001:db8::1:161",
                      "2001:db8:::161", "[2001:DB8::1]:161", "1:2:3:4:5:6:7:8:161",
                      "[1:2:3:4:5:6:7:8]:161", "1:2:3:4:5:6:7:::161", "::2:3:4:5:6:7:8:161",
                      "::ffff:10.0.0.1:161", "[1:2:3:4:5:6:10.0.0.1]:161", "1::10.0.0.1:161",
                      "1:2:3:4:5::10.0.0.1:161", "[::2:3:4:5:6:10.0.0.1]:161"));

INSTANTIATE_TEST_SUITE_P(
    Texts, BadEndpoint,
    ::testing::Values("", "10.0.0.1", "a:161", ":161", "10.0.0.1:", "10.0.0.1:0", "10.0.0.1:070",
                      "10.0.0.1:+1", "10.0.0.1:-1", "10.0.0.1:65536", "10.0.0.1:70000",
                      "10.0.0.1:100000", "10.0.0.1:1 ", " 10.0.0.1:1", "10.0.0.256:161",
                      "10.0.0.01:161", "10.0.0:161", "10.0.0.1.2:161", "[10.0.0.1]:161",
                      "[2001:db8::1:161", "2001:db8::1]:161", "2001:db8:::1:161",
                      "2001:db8::00001:161", "[2001:db8::1]161", "[2001:db8::1]", "::1",
                      "[[::1]]:161", "[]:161", "1:2:3:4:5:6:7:161", "1:2:3:4:5:6:7:8:9:161",
                      "[1::2::3]:161", "[1:2:3:4::5:6:7:8]:161", "[1:2:3:4:5:6:7:10.0.0.1]:161",
                      "[::2:3:4:5:6:7:10.0.0.1]:161", "[::256.0.0.1]:161", "[::10.0.0.1:1]:161",
                      "[g::1]:161", "[fe80::1%eth0]:161", "localhost:161"));

TEST(Models, Ipv6PrefixesThatAreNone) {
  for (const char* text :
       {"", "/64", "::1", "::1/", "::1/064", "1::2::3/64", "g::1/64", "::10.0.0.01/64",
        "::10.0.0.256/64", "1:2:3:4:5:6:7:8:9/64", ":1/64", "fe80::1%eth0/64", "10.0.0.1/24",
        "2001:db8::00001/64", ":::/0", "1:2:3:4:5:6:7:10.0.0.1/64", "1:/64"}) {
    EXPECT_THROW(Read(DeviceModels(),
                      R"({"config:config": {"interface": {"l3": [{"name": "a", "ipv6": {"address":)"
                      R"( [{"index": 1, "ip": ")" +
                          std::string(text) + "\"}]}}]}}}"),
                 std::runtime_error)
        << text;
  }
}

TEST(Models, DefaultsOfTheAgent) {
  const host::Tree tree = Read(DeviceModels(), "{}");
  char* text = nullptr;
  ASSERT_EQ(lyd_print_mem(&text, tree.get(), LYD_JSON,
                          LYD_PRINT_WITHSIBLINGS | LYD_PRINT_SHRINK | LYD_PRINT_WD_ALL),
            LY_SUCCESS);
  EXPECT_THAT(text, HasSubstr(R"({"enabled":false,"ip":"0.0.0.0","port":161})"));
  free(text);
}

}  // namespace
}  // namespace host::test
