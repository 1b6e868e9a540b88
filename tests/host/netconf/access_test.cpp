// Who may do what under which rules (RFC 8341, sections 3.4.4 to 3.4.6, and the examples of its
// appendix A with the device's own elements).
#include "netconf/access.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "access_support.h"
#include "config/tree.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kData[] = R"({
  "confd_dyncfg:confdConfig": {"snmpAgent": {"enabled": true, "port": 161}},
  "SNMP-COMMUNITY-MIB:SNMP-COMMUNITY-MIB": {"snmpCommunityTable": {"snmpCommunityEntry": [
    {"snmpCommunityIndex": "hush", "snmpCommunityName": "hush",
     "snmpCommunitySecurityName": "reader"}]}},
  "snmp:snmp": {"agent": {"listen": {"interface": [
    {"name": "dummy", "udp-port": 161}, {"name": "alice", "udp-port": 162}]}}}})";

constexpr char kAgent[] = "/confd_dyncfg:confdConfig/snmpAgent";
constexpr char kPort[] = "/confd_dyncfg:confdConfig/snmpAgent/port";
constexpr char kCommunity[] =
    "/SNMP-COMMUNITY-MIB:SNMP-COMMUNITY-MIB/snmpCommunityTable/"
    "snmpCommunityEntry[snmpCommunityIndex='hush']";
constexpr char kDummyPort[] = "/snmp:snmp/agent/listen/interface[name='dummy']/udp-port";
constexpr char kAlicePort[] = "/snmp:snmp/agent/listen/interface[name='alice']/udp-port";
constexpr char kNacm[] = "/ietf-netconf-acm:nacm";
constexpr char kInterfaces[] = "/snmp:snmp/agent/listen/interface";

constexpr char kCreate[] = "create";
constexpr char kRead[] = "read";
constexpr char kUpdate[] = "update";
constexpr char kDelete[] = "delete";
constexpr char kExec[] = "exec";

std::string Path(const std::string& path) { return R"("path": ")" + path + R"(", )"; }

std::string Operations(const std::string& names) {
  return R"("access-operations": ")" + names + R"(", )";
}

std::string Module(const std::string& name) { return R"("module-name": ")" + name + R"(", )"; }

std::string RpcName(const char* name) { return std::string(R"("rpc-name": ")") + name + R"(", )"; }

struct AccessCase {
  std::string name;
  std::string nacm;
  std::string group;
  std::string operation;
  std::string object;  ///< An RPC's path or the data's.
  bool is_permitted;
};

void PrintTo(const AccessCase& c, std::ostream* out) { *out << c.nacm << " " << c.object; }

unsigned OpOf(const std::string& name) {
  if (name == kCreate) return host::kCreateAccess;
  if (name == kRead) return host::kReadAccess;
  if (name == kUpdate) return host::kUpdateAccess;
  return name == kDelete ? host::kDeleteAccess : host::kExecAccess;
}

class AccessTest : public NetconfTest {
 protected:
  void SetUp() override {
    NetconfTest::SetUp();
    if (IsSkipped()) return;
    data_ = host::ParseTree(Models().Context(), kData);
    host::ValidateTree(Models().Context(), &data_);
  }

  static const host::Schema& Models() { return NetconfDeviceModels(); }

  bool Permits(const host::Access& access, const std::string& operation,
               const std::string& object) const {
    if (operation == kExec) {
      return access.MayExecute(lys_find_path(Models().Context(), nullptr, object.c_str(), 0));
    }
    const lyd_node* node = NodeAt(data_, object);
    return access.Permits(static_cast<host::AccessOp>(OpOf(operation)), {node->schema, node});
  }

  std::string Pruned(const std::string& nacm, const host::Peer& peer) const {
    const host::AccessPolicy policy = PolicyOfJson(nacm);
    host::Tree copy = host::CopyTree(data_.get());
    host::Access(policy, peer).Prune(&copy);
    return Xml(copy);
  }

  host::Tree data_;
};

class AccessCases : public AccessTest, public ::testing::WithParamInterface<AccessCase> {};

TEST_P(AccessCases, AreDecidedAsTheRfcHasIt) {
  const AccessCase& c = GetParam();
  const host::AccessPolicy policy = PolicyOfJson(c.nacm);
  const host::Peer peer{"alice", {c.group}, false};
  EXPECT_EQ(Permits(host::Access(policy, peer), c.operation, c.object), c.is_permitted);
  const host::Peer root{"root", {c.group}, true};
  EXPECT_TRUE(Permits(host::Access(policy, root), c.operation, c.object));
}

const std::string kNobody = NacmJson(RuleListJson("nobody", RuleJson("", "deny")));

INSTANTIATE_TEST_SUITE_P(
    Defaults, AccessCases,
    ::testing::Values(
        AccessCase{"Read", kNobody, "a", kRead, kPort, true},
        AccessCase{"ReadOfWhatTheModelKeeps", kNobody, "a", kRead, kNacm, false},
        AccessCase{"ReadOfSecrets", kNobody, "a", kRead, kCommunity, false},
        AccessCase{"ReadBelowWhatIsSecret", kNobody, "a", kRead,
                   std::string(kCommunity) + "/snmpCommunityName", false},
        AccessCase{"Write", kNobody, "a", kUpdate, kPort, false},
        AccessCase{"Create", kNobody, "a", kCreate, kPort, false},
        AccessCase{"Delete", kNobody, "a", kDelete, kPort, false},
        AccessCase{"Exec", kNobody, "a", kExec, "/ietf-netconf:edit-config", true},
        AccessCase{"KillSession", kNobody, "a", kExec, "/ietf-netconf:kill-session", false},
        AccessCase{"DeleteConfig", kNobody, "a", kExec, "/ietf-netconf:delete-config", false},
        AccessCase{"ReadDenied", NacmJson("", R"("read-default": "deny", )"), "a", kRead, kPort,
                   false},
        AccessCase{"WritePermitted", NacmJson("", R"("write-default": "permit", )"), "a", kDelete,
                   kPort, true},
        AccessCase{"WriteOfWhatTheModelKeeps", NacmJson("", R"("write-default": "permit", )"), "a",
                   kUpdate, kNacm, false},
        AccessCase{"ExecDenied", NacmJson("", R"("exec-default": "deny", )"), "a", kExec,
                   "/ietf-netconf:get", false},
        AccessCase{"CloseSessionAlwaysMay", NacmJson("", R"("exec-default": "deny", )"), "a", kExec,
                   "/ietf-netconf:close-session", true},
        AccessCase{"SwitchedOff",
                   NacmJson(RuleListJson("*", RuleJson("", "deny")), R"("enable-nacm": false, )"),
                   "a", kDelete, kCommunity, true}),
    [](const auto& test) { return test.param.name; });

std::string Denying(const std::string& about) {
  return NacmJson(RuleListJson("a", RuleJson(about, "deny") + "," + RuleJson("", "permit")));
}

INSTANTIATE_TEST_SUITE_P(
    Matching, AccessCases,
    ::testing::Values(
        AccessCase{"TheFirstRuleThatMatches", Denying(""), "a", kRead, kPort, false},
        AccessCase{"AnotherModule", Denying(Module("snmp")), "a", kRead, kPort, true},
        AccessCase{"TheModule", Denying(Module("confd_dyncfg")), "a", kRead, kPort, false},
        AccessCase{"AnyModule", Denying(Module("*")), "a", kRead, kPort, false},
        AccessCase{"AnotherOperationOfAccess", Denying(Operations("create delete")), "a", kRead,
                   kPort, true},
        AccessCase{"OneOfTheOperations", Denying(Operations("create read")), "a", kRead, kPort,
                   false},
        AccessCase{"AnyOperation", Denying(Operations("*")), "a", kUpdate, kPort, false},
        AccessCase{"ARuleOfRpcsIsNotAboutData", Denying(RpcName("*")), "a", kRead, kPort, true},
        AccessCase{"ARuleOfNotificationsIsNotAboutData", Denying(R"("notification-name": "*", )"),
                   "a", kRead, kPort, true},
        AccessCase{"ARuleOfDataIsNotAboutRpcs", Denying(Path("/")), "a", kExec, "/ietf-netconf:get",
                   true},
        AccessCase{"ThePath", Denying(Path(kPort)), "a", kRead, kPort, false},
        AccessCase{"BelowThePath", Denying(Path(kAgent)), "a", kRead, kPort, false},
        AccessCase{"AboveThePath", Denying(Path(kPort)), "a", kRead, kAgent, true},
        AccessCase{"AllData", Denying(Path("/")), "a", kRead, kPort, false},
        AccessCase{"PathAndModule", Denying(Path(kPort) + Module("snmp")), "a", kRead, kPort, true},
        AccessCase{"EveryEntry", Denying(Path(kInterfaces)), "a", kRead, kDummyPort, false},
        AccessCase{"TheEntry", Denying(Path(kDummyPort)), "a", kRead, kDummyPort, false},
        AccessCase{"AnotherEntry", Denying(Path(kDummyPort)), "a", kRead, kAlicePort, true},
        AccessCase{"TheRpc", Denying(RpcName("get")), "a", kExec, "/ietf-netconf:get", false},
        AccessCase{"AnotherRpc", Denying(RpcName("get")), "a", kExec, "/ietf-netconf:get-config",
                   true},
        AccessCase{"AnyRpc", Denying(RpcName("*")), "a", kExec, "/ietf-netconf:get", false},
        AccessCase{"TheRpcOfAnotherModule", Denying(RpcName("get") + Module("snmp")), "a", kExec,
                   "/ietf-netconf:get", true},
        AccessCase{"AnRpcNeedsExec", Denying(RpcName("get") + Operations("read")), "a", kExec,
                   "/ietf-netconf:get", true},
        AccessCase{"AnotherGroup", Denying(""), "b", kRead, kPort, true},
        AccessCase{"OfAllGroups", NacmJson(RuleListJson("*", RuleJson("", "deny"))), "b", kRead,
                   kPort, false},
        AccessCase{"KillSessionByRule", Denying(Module("snmp")), "a", kExec,
                   "/ietf-netconf:kill-session", true},
        AccessCase{"SecretsByRule", Denying(Module("snmp")), "a", kRead, kCommunity, true},
        AccessCase{"OfSeveralListsTheFirst",
                   NacmJson(RuleListJson("a", RuleJson(Path(kPort), "permit")) + "," +
                            RuleListJson("*", RuleJson("", "deny"))),
                   "a", kUpdate, kPort, true},
        AccessCase{"WhatTheFirstListLeaves",
                   NacmJson(RuleListJson("a", RuleJson(Path(kPort), "permit")) + "," +
                            RuleListJson("*", RuleJson("", "deny"))),
                   "a", kUpdate, kDummyPort, false}),
    [](const auto& test) { return test.param.name; });

/// The appendix's groups: guest may look at nothing about sessions, limited may read that and
/// change what is the users' own, admin may do everything.
std::string Appendix() {
  const std::string monitoring = Module("ietf-netconf-monitoring");
  const std::string guest = RuleJson(monitoring, "deny") + "," + RuleJson(Path(kNacm), "deny") +
                            "," + RuleJson(RpcName("edit-config") + Operations("exec"), "deny");
  const std::string limited =
      RuleJson(monitoring + Operations("read"), "permit") + "," +
      RuleJson(RpcName("kill-session") + Module("ietf-netconf") + Operations("exec"), "deny") +
      "," + RuleJson(Path(kAgent) + Operations("read create update delete"), "permit") + "," +
      RuleJson(Path("/snmp:snmp/agent/listen/interface[name='dummy']") + Operations("read update"),
               "permit");
  return NacmJson(RuleListJson("guest", guest) + "," + RuleListJson("limited", limited) + "," +
                  RuleListJson("admin", RuleJson("", "permit")));
}

INSTANTIATE_TEST_SUITE_P(
    Appendix, AccessCases,
    ::testing::Values(
        AccessCase{"GuestAndRules", Appendix(), "guest", kRead, kNacm, false},
        AccessCase{"GuestReads", Appendix(), "guest", kRead, kPort, true},
        AccessCase{"GuestEdits", Appendix(), "guest", kExec, "/ietf-netconf:edit-config", false},
        AccessCase{"GuestAndSchemas", Appendix(), "guest", kExec,
                   "/ietf-netconf-monitoring:get-schema", false},
        AccessCase{"LimitedEdits", Appendix(), "limited", kExec, "/ietf-netconf:edit-config", true},
        AccessCase{"LimitedKills", Appendix(), "limited", kExec, "/ietf-netconf:kill-session",
                   false},
        AccessCase{"LimitedDeletesTheAgent", Appendix(), "limited", kDelete, kPort, true},
        AccessCase{"LimitedChangesDummy", Appendix(), "limited", kUpdate, kDummyPort, true},
        AccessCase{"LimitedDeletesDummy", Appendix(), "limited", kDelete, kDummyPort, false},
        AccessCase{"LimitedChangesOthers", Appendix(), "limited", kUpdate, kAlicePort, false},
        AccessCase{"AdminKills", Appendix(), "admin", kExec, "/ietf-netconf:kill-session", true},
        AccessCase{"AdminAndRules", Appendix(), "admin", kDelete, kNacm, true},
        AccessCase{"AdminAndCommunities", Appendix(), "admin", kRead, kCommunity, true}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    BuiltIn, AccessCases,
    ::testing::Values(
        AccessCase{"OperatorsWrite", "{}", "snmp-app", kDelete, kCommunity, true},
        AccessCase{"OperatorsKill", "{}", "snmp-app", kExec, "/ietf-netconf:kill-session", true},
        AccessCase{"OperatorsAndRules", "{}", "snmp-app", kUpdate, kNacm, true},
        AccessCase{"ReadersRead", "{}", "snmp-app-read", kRead, kPort, true},
        AccessCase{"ReadersAndCommunities", "{}", "snmp-app-read", kRead, kCommunity, false},
        AccessCase{"ReadersAndRules", "{}", "snmp-app-read", kRead, kNacm, true},
        AccessCase{"ReadersWrite", "{}", "snmp-app-read", kUpdate, kPort, false},
        AccessCase{"ReadersGet", "{}", "snmp-app-read", kExec, "/ietf-netconf:get", true},
        AccessCase{"ReadersGetConfig", "{}", "snmp-app-read", kExec, "/ietf-netconf:get-config",
                   true},
        AccessCase{"ReadersGetSchema", "{}", "snmp-app-read", kExec,
                   "/ietf-netconf-monitoring:get-schema", true},
        AccessCase{"ReadersLock", "{}", "snmp-app-read", kExec, "/ietf-netconf:lock", false},
        AccessCase{"ReadersEdit", "{}", "snmp-app-read", kExec, "/ietf-netconf:edit-config", false},
        AccessCase{"ReadersValidate", "{}", "snmp-app-read", kExec, "/ietf-netconf:validate",
                   false},
        AccessCase{"ReadersClose", "{}", "snmp-app-read", kExec, "/ietf-netconf:close-session",
                   true},
        AccessCase{"OthersRead", "{}", "users", kRead, kPort, false},
        AccessCase{"OthersGet", "{}", "users", kExec, "/ietf-netconf:get", false},
        AccessCase{"OthersClose", "{}", "users", kExec, "/ietf-netconf:close-session", true}),
    [](const auto& test) { return test.param.name; });

std::string Groups(const std::string& more) {
  return R"("groups": {"group": [{"name": "a", "user-name": ["alice"]}]}, )" + more;
}

TEST_F(AccessTest, GroupsAreTheConfiguredOnesAndTheSystems) {
  const std::string lists = RuleListJson("a", RuleJson("", "permit"));
  const host::AccessPolicy both = PolicyOfJson(NacmJson(lists, Groups("")));
  const host::AccessPolicy configured =
      PolicyOfJson(NacmJson(lists, Groups(R"("enable-external-groups": false, )")));
  const host::Peer alice{"alice", {"users"}, false};
  const host::Peer bob{"bob", {"a"}, false};
  const host::Peer carol{"carol", {"users"}, false};
  EXPECT_TRUE(Permits(host::Access(both, alice), kDelete, kPort));
  EXPECT_TRUE(Permits(host::Access(both, bob), kDelete, kPort));
  EXPECT_FALSE(Permits(host::Access(both, carol), kDelete, kPort));
  EXPECT_TRUE(Permits(host::Access(configured, alice), kDelete, kPort));
  EXPECT_FALSE(Permits(host::Access(configured, bob), kDelete, kPort));
}

/// A user in no group skips all rules, those of "*", too (RFC 8341, 3.4.4, step 5).
TEST_F(AccessTest, WhoIsInNoGroupHasTheDefaults) {
  const host::AccessPolicy policy = PolicyOfJson(
      NacmJson(RuleListJson("*", RuleJson("", "deny")), R"("enable-external-groups": false, )"));
  const host::Peer peer{"alice", {"users"}, false};
  EXPECT_TRUE(Permits(host::Access(policy, peer), kRead, kPort));
  EXPECT_FALSE(Permits(host::Access(policy, peer), kUpdate, kPort));
}

TEST_F(AccessTest, WhoMayReadAllOrWriteAllIsKnownAtOnce) {
  const auto of = [](const std::string& json, const char* group) {
    const host::AccessPolicy policy = PolicyOfJson(json);
    const host::Peer peer{"alice", {group}, false};
    const host::Access access(policy, peer);
    return std::string(access.MayReadAll() ? "r" : "-") + (access.MayWriteAll() ? "w" : "-");
  };
  EXPECT_EQ(of("{}", "snmp-app"), "rw");
  EXPECT_EQ(of("{}", "snmp-app-read"), "--");
  EXPECT_EQ(of("{}", "users"), "--");
  EXPECT_EQ(of(NacmJson("", R"("write-default": "permit", )"), "a"), "--");
  EXPECT_EQ(of(Denying(RpcName("*")), "a"), "rw");
  EXPECT_EQ(of(Denying(Path(kPort) + Operations("read")), "a"), "-w");
  EXPECT_EQ(of(Denying(Path(kPort) + Operations("create")), "a"), "r-");
  const std::string in_parts = RuleJson(Operations("create read"), "permit") + "," +
                               RuleJson(Operations("update delete"), "permit");
  EXPECT_EQ(of(NacmJson(RuleListJson("a", in_parts)), "a"), "rw");
}

TEST_F(AccessTest, WhatMayNotBeReadIsTakenAwayWithAllBelowIt) {
  const host::Peer reader{"alice", {"snmp-app-read"}, false};
  EXPECT_THAT(Pruned("{}", reader), AllOf(HasSubstr("dummy"), Not(HasSubstr("hush")),
                                          Not(HasSubstr("SNMP-COMMUNITY-MIB"))));
  const host::Peer root{"root", {}, true};
  EXPECT_THAT(Pruned("{}", root), HasSubstr("hush"));
  EXPECT_EQ(Pruned("{}", host::Peer{"alice", {"users"}, false}), "");
}

TEST_F(AccessTest, AnEntryIsNotToldWithoutItsKeys) {
  const host::Peer peer{"alice", {"a"}, false};
  const std::string keys = Path(std::string(kInterfaces) + "/name");
  EXPECT_THAT(Pruned(Denying(keys), peer), AllOf(HasSubstr("hush"), Not(HasSubstr("udp-port"))));
  EXPECT_THAT(Pruned(Denying(Path(kDummyPort)), peer),
              AllOf(HasSubstr("<name>dummy</name></interface>"),
                    HasSubstr("<name>alice</name><udp-port>162</udp-port>")));
}

TEST_F(AccessTest, WhatIsReadablePermitsNothingInsideOfWhatIsNot) {
  const std::string rules = RuleJson(Path(kPort), "permit") + "," + RuleJson("", "deny");
  EXPECT_EQ(Pruned(NacmJson(RuleListJson("a", rules)), host::Peer{"alice", {"a"}, false}), "");
}

TEST_F(AccessTest, APathThatTheModelsLackIsRefused) {
  EXPECT_THROW(PolicyOfJson(Denying(Path("/snmp:snmp/nothing"))), host::Refusal);
  // libyang takes no variables.
  EXPECT_THROW(PolicyOfJson(Denying(Path("/snmp:snmp/target[name=$USER]"))), host::Refusal);
  const ly_ctx* context = Models().Context();
  for (const char* path : {"/snmp:nothing", "/nothing:snmp", "/snmp:snmp/target[nothing='1']",
                           "/snmp:snmp/target[x]"}) {
    EXPECT_THROW(host::AccessPath(context, path), std::runtime_error) << path;
  }
}

TEST_F(AccessTest, SlashesAndBracketsInKeysEndNoStep) {
  const std::vector<std::string> steps = host::PathSteps("/a:b[c='/x[']/d[e=\"']/\"]");
  EXPECT_THAT(steps, ::testing::ElementsAre("/a:b[c='/x[']", "/d[e=\"']/\"]"));
}

}  // namespace
}  // namespace host::test
