// Requests of users whose access is limited (RFC 8341, section 3.2).
#include <gmock/gmock.h>

#include <string>

#include "access_support.h"
#include "netconf/access_control.h"
#include "rpc_fixture.h"

namespace host::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

const host::Peer kRoot{"root", {"root"}, true};
const host::Peer kOperator{"olga", {"snmp-app"}, false};
const host::Peer kReader{"rita", {"snmp-app-read"}, false};
const host::Peer kOther{"oscar", {"users"}, false};

std::string Communities(const std::string& index, const std::string& attribute = "") {
  return R"(<SNMP-COMMUNITY-MIB xmlns="urn:snmp-app:community"><snmpCommunityTable>)"
         "<snmpCommunityEntry" +
         attribute + "><snmpCommunityIndex>" + index + "</snmpCommunityIndex><snmpCommunityName>" +
         index +
         "</snmpCommunityName><snmpCommunitySecurityName>reader</snmpCommunitySecurityName>"
         "</snmpCommunityEntry></snmpCommunityTable></SNMP-COMMUNITY-MIB>";
}

constexpr char kNamespaces[] = R"( xmlns:c="urn:snmp-app:community" xmlns:d="urn:snmp-app:dyncfg")";

std::string XPathFilter(const std::string& select) {
  return std::string(R"(<get-config><source><running/></source><filter type="xpath")") +
         kNamespaces + R"( select=")" + select + R"("/></get-config>)";
}

class AccessRequest : public RpcTest {
 protected:
  void SetUp() override {
    RpcTest::SetUp();
    if (IsSkipped()) return;
    ASSERT_EQ(Edit(Communities("hush") + Agent("<port>1161</port>")).tag, "ok");
  }

  Reply AskAs(const host::Peer& peer, const std::string& operation) {
    peer_ = peer;
    Reply reply = Ask(operation);
    peer_ = kRoot;
    return reply;
  }

  Reply EditAs(const host::Peer& peer, const std::string& content,
               const std::string& target = "running", const std::string& options = "") {
    peer_ = peer;
    Reply reply = Edit(content, target, options);
    peer_ = kRoot;
    return reply;
  }

  /// Rules for alice's group, in front of one that denies what they leave.
  host::Peer Limited(const std::string& rules) {
    host::Tree tree =
        host::ParseTree(Engine().Models().Context(), NacmJson(RuleListJson("limited", rules)));
    host::Tree running = Engine().CopyRunning();
    lyd_node* first = running.release();
    EXPECT_EQ(lyd_merge_siblings(&first, tree.get(), 0), LY_SUCCESS);
    Engine().Commit(host::Tree(first));
    return {"alice", {"limited"}, false};
  }

  std::string Counter(const std::string& name) {
    return TextOf(Ask(R"(<get><filter><nacm xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-acm"/>)"
                      "</filter></get>")
                      .xml,
                  name);
  }
};

constexpr char kGetAll[] = "<get/>";
constexpr char kGetConfig[] = "<get-config><source><running/></source></get-config>";

TEST_F(AccessRequest, ReadersSeeAllButSecrets) {
  for (const char* operation : {kGetAll, kGetConfig}) {
    EXPECT_THAT(AskAs(kReader, operation).xml,
                AllOf(HasSubstr("1161"), Not(HasSubstr("hush")), Not(HasSubstr("COMMUNITY"))));
    EXPECT_THAT(AskAs(kOperator, operation).xml, AllOf(HasSubstr("1161"), HasSubstr("hush")));
    EXPECT_EQ(AskAs(kOther, operation).tag, "access-denied");
  }
}

/// What a filter finds must not tell what stands in the data.
TEST_F(AccessRequest, FiltersSeeNoMoreThanTheirUser) {
  const std::string questions[] = {"//c:snmpCommunityName",
                                   "//c:snmpCommunityEntry[c:snmpCommunityName='hush']",
                                   "/d:confdConfig[//c:snmpCommunityName='hush']",
                                   "/d:confdConfig[starts-with(//c:snmpCommunityIndex, 'h')]",
                                   "/d:confdConfig[count(//c:snmpCommunityEntry) = 1]"};
  for (const std::string& question : questions) {
    EXPECT_EQ(TextOf(AskAs(kReader, XPathFilter(question)).xml, "data"), "") << question;
    EXPECT_NE(TextOf(AskAs(kOperator, XPathFilter(question)).xml, "data"), "") << question;
  }
  const std::string subtree = "<get-config><source><running/></source><filter>" +
                              Communities("hush") + "</filter></get-config>";
  EXPECT_EQ(TextOf(AskAs(kReader, subtree).xml, "data"), "");
}

TEST_F(AccessRequest, ReadersChangeNothing) {
  const std::string operations[] = {"<commit/>",
                                    "<discard-changes/>",
                                    "<kill-session><session-id>7</session-id></kill-session>",
                                    OnTarget("lock", "running"),
                                    Copy("candidate", "<running/>"),
                                    "<validate><source><running/></source></validate>",
                                    "<cancel-commit/>"};
  for (const std::string& operation : operations) {
    const Reply reply = AskAs(kReader, operation);
    EXPECT_EQ(reply.tag, "access-denied") << operation;
    EXPECT_EQ(TextOf(reply.xml, "error-type"), "protocol");
  }
  EXPECT_EQ(EditAs(kReader, Agent("<port>1</port>")).tag, "access-denied");
  EXPECT_EQ(killed_, 0U);
  EXPECT_THAT(Config(), HasSubstr("1161"));
}

TEST_F(AccessRequest, EverybodyMayEndHisSession) {
  const Reply reply = AskAs(kOther, "<close-session/>");
  EXPECT_EQ(reply.tag, "ok");
  EXPECT_TRUE(reply.closes);
}

TEST_F(AccessRequest, ConfiguredRulesTakeThePlaceOfTheBuiltInOnes) {
  Limited(RuleJson("", "permit"));
  EXPECT_EQ(AskAs(kOther, kGetConfig).tag, "ok");
  EXPECT_EQ(EditAs(kOperator, Agent("<port>1</port>")).tag, "access-denied");
  EXPECT_EQ(EditAs(kRoot, R"(<nacm xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-acm")"
                          R"( nc:operation="remove"/>)")
                .tag,
            "ok");
  EXPECT_EQ(AskAs(kOther, kGetConfig).tag, "access-denied");
  EXPECT_EQ(EditAs(kOperator, Agent("<port>1</port>")).tag, "ok");
}

constexpr char kOnAgent[] =
    R"("path": "/confd_dyncfg:confdConfig/snmpAgent", "access-operations": "read create update",)";

TEST_F(AccessRequest, AnEditNeedsTheRightToWhatItChanges) {
  const host::Peer alice = Limited(RuleJson(kOnAgent, "permit"));
  EXPECT_EQ(EditAs(alice, Agent("<port>1162</port>")).tag, "ok");
  EXPECT_EQ(EditAs(alice, Agent("<enabled>false</enabled>")).tag, "ok");
  const Reply deleted = EditAs(alice, Agent(R"(<port nc:operation="delete"/>)"));
  EXPECT_EQ(deleted.tag, "access-denied");
  EXPECT_EQ(TextOf(deleted.xml, "error-type"), "application");
  EXPECT_EQ(deleted.path, "/confd_dyncfg:confdConfig/confd_dyncfg:snmpAgent/confd_dyncfg:port");
  EXPECT_EQ(EditAs(alice, Communities("loud")).tag, "access-denied");
  EXPECT_EQ(EditAs(alice, Interface("<name>eth1</name>")).tag, "access-denied");
  EXPECT_THAT(Config(), AllOf(HasSubstr("1162"), Not(HasSubstr("loud")), Not(HasSubstr("eth1"))));
}

/// What an edit names and leaves as it is needs no right.
TEST_F(AccessRequest, AnEditNeedsNoRightToWhatItLeaves) {
  const host::Peer alice = Limited(RuleJson(kOnAgent, "permit"));
  EXPECT_EQ(EditAs(alice, Communities("hush") + Agent("<port>1163</port>")).tag, "ok");
  const std::string replace = "<default-operation>replace</default-operation>";
  EXPECT_EQ(EditAs(alice, Agent("<port>1163</port>"), "running", replace).tag, "access-denied");
}

TEST_F(AccessRequest, ACommitNeedsTheRightToWhatDiffers) {
  const host::Peer alice = Limited(RuleJson(kOnAgent, "permit"));
  EXPECT_EQ(EditAs(alice, Agent("<port>1164</port>"), "candidate").tag, "ok");
  EXPECT_EQ(AskAs(alice, "<commit/>").tag, "ok");
  EXPECT_EQ(AskAs(alice, "<commit/>").tag, "ok") << "nothing differs";
  EXPECT_EQ(Edit(Interface("<name>eth1</name>"), "candidate").tag, "ok");
  const Reply reply = AskAs(alice, "<commit/>");
  EXPECT_EQ(reply.tag, "access-denied");
  EXPECT_THAT(reply.path, HasSubstr("eth1"));
  EXPECT_EQ(AskAs(alice, "<discard-changes/>").tag, "ok") << "it needs the operation alone";
}

/// Of another's changes that may not be read not even the place is told.
TEST_F(AccessRequest, ARefusedCommitTellsNoSecret) {
  const host::Peer alice = Limited(RuleJson(kOnAgent, "permit"));
  EXPECT_EQ(Edit(Communities("quiet"), "candidate").tag, "ok");
  const Reply reply = AskAs(alice, "<commit/>");
  EXPECT_EQ(reply.tag, "access-denied");
  EXPECT_EQ(reply.path, "");
  EXPECT_THAT(reply.xml, Not(HasSubstr("quiet")));
}

TEST_F(AccessRequest, ACopyHasWhatMayBeRead) {
  const host::Peer alice = Limited(RuleJson(kOnAgent, "permit"));
  // What is left out would be deleted in the target.
  EXPECT_EQ(AskAs(alice, Copy("candidate", "<running/>")).tag, "access-denied");
  const host::Peer writer =
      Limited(RuleJson(R"("access-operations": "create update delete", )", "permit"));
  EXPECT_EQ(AskAs(writer, Copy("candidate", "<running/>")).tag, "ok");
  EXPECT_THAT(Config("candidate"), AllOf(HasSubstr("1161"), Not(HasSubstr("hush"))));
}

TEST_F(AccessRequest, ACopyOfWhatIsGivenNeedsTheRights) {
  const host::Peer alice = Limited(RuleJson(kOnAgent, "permit"));
  const std::string given = "<config>" + Agent("<port>1161</port>") + "</config>";
  EXPECT_EQ(AskAs(alice, Copy("running", given)).tag, "access-denied");
  EXPECT_THAT(Config(), HasSubstr("hush"));
}

/// Whether a secret is there must not be told by the kind of the refusal.
TEST_F(AccessRequest, ARefusedEditDoesNotTellWhatIsThere) {
  const host::Peer alice = Limited(RuleJson(kOnAgent, "permit"));
  for (const char* index : {"hush", "none"}) {
    for (const char* operation : {"create", "delete"}) {
      const std::string attribute = std::string(" nc:operation=\"") + operation + "\"";
      EXPECT_EQ(EditAs(alice, Communities(index, attribute)).tag, "access-denied")
          << index << " " << operation;
    }
  }
}

/// The models' refusals quote what they refuse.
TEST_F(AccessRequest, ARefusalByTheModelsTellsNoSecret) {
  const host::Peer writer =
      Limited(RuleJson(R"("access-operations": "create update delete exec", )", "permit"));
  const std::string row =
      R"(<SNMP-COMMUNITY-MIB xmlns="urn:snmp-app:community"><snmpCommunityTable>)"
      "<snmpCommunityEntry><snmpCommunityIndex>quiet</snmpCommunityIndex></snmpCommunityEntry>"
      "</snmpCommunityTable></SNMP-COMMUNITY-MIB>";
  ASSERT_EQ(Edit(row, "candidate").tag, "ok");
  const Reply told = Ask("<commit/>");
  ASSERT_THAT(told.xml, HasSubstr("quiet"));
  const Reply reply = AskAs(writer, "<commit/>");
  EXPECT_EQ(reply.tag, told.tag);
  EXPECT_THAT(reply.xml, Not(HasSubstr("quiet")));
  EXPECT_THAT(AskAs(writer, "<validate><source><candidate/></source></validate>").xml,
              Not(HasSubstr("quiet")));
}

/// The file is in no datastore that is asked what its user may read.
TEST_F(AccessRequest, AStartupFileThatIsRefusedTellsNoSecret) {
  const std::string get = "<get-config><source><startup/></source></get-config>";
  Folder().Write("startup.json",
                 R"({"SNMP-COMMUNITY-MIB:SNMP-COMMUNITY-MIB": {"snmpCommunityTable": )"
                 R"({"snmpCommunityEntry": [{"snmpCommunityIndex": "quiet", "wrong": 1}]}}})");
  ASSERT_THAT(Ask(get).xml, HasSubstr("quiet"));
  Reply reply = AskAs(kReader, get);
  EXPECT_NE(reply.tag, "ok");
  EXPECT_THAT(reply.xml, AllOf(HasSubstr("may not read"), Not(HasSubstr("quiet"))));
  Folder().Write("startup.json", "{quiet");
  ASSERT_THAT(Ask(get).xml, HasSubstr("quiet"));
  reply = AskAs(kReader, get);
  EXPECT_THAT(reply.xml, AllOf(HasSubstr("may not read"), Not(HasSubstr("quiet"))));
}

TEST_F(AccessRequest, RollbackNeedsTheRightsOfAnEdit) {
  ASSERT_EQ(Edit(Agent("<port>1162</port>")).tag, "ok");
  const std::string rollback =
      R"(<rollback xmlns="urn:snmp-app:history"><number>1</number></rollback>)";
  const host::Peer limited = Limited(RuleJson(R"("access-operations": "read exec", )", "permit"));
  const Reply reply = AskAs(limited, rollback);
  EXPECT_EQ(reply.tag, "access-denied");
  EXPECT_THAT(Ask(kGetConfig).xml, HasSubstr("1162"));
  EXPECT_EQ(Ask(rollback).tag, "ok");
}

/// It would hold up everybody else, and its end take back what they did.
TEST_F(AccessRequest, ACommitThatWaitsNeedsAChange) {
  const host::Peer limited = Limited(RuleJson(R"("access-operations": "read exec", )", "permit"));
  EXPECT_EQ(AskAs(limited, "<commit><confirmed/></commit>").tag, "access-denied");
  EXPECT_EQ(AskAs(limited, "<commit/>").tag, "ok");
}

TEST_F(AccessRequest, WhatIsDeniedIsCounted) {
  EXPECT_EQ(Counter("denied-operations"), "0");
  AskAs(kReader, "<commit/>");
  AskAs(kOther, kGetAll);
  EXPECT_EQ(Counter("denied-operations"), "2");
  EXPECT_EQ(Counter("denied-data-writes"), "0");
  const host::Peer alice = Limited(RuleJson(kOnAgent, "permit"));
  EditAs(alice, Communities("loud"));
  EXPECT_EQ(Counter("denied-data-writes"), "1");
  EXPECT_EQ(Counter("denied-operations"), "2");
  EXPECT_EQ(Counter("denied-notifications"), "0");
}

TEST_F(AccessRequest, CountersAreNoConfiguration) {
  EXPECT_THAT(Ask(kGetConfig).xml, Not(HasSubstr("denied")));
  EXPECT_THAT(host::PrintTree(Engine().Running().get()), Not(HasSubstr("denied")));
}

constexpr char kNacmNamespace[] = "urn:ietf:params:xml:ns:yang:ietf-netconf-acm";

/// The order of rules is the operator's: a new one is the last, or where he says.
TEST_F(AccessRequest, NewRulesStandWhereTheyAreToStand) {
  const auto list = [](const std::string& name, const std::string& place) {
    return std::string("<nacm xmlns=\"") + kNacmNamespace + "\"><rule-list" + place + "><name>" +
           name + "</name></rule-list></nacm>";
  };
  for (const std::string& edit :
       {list("one", ""), list("two", ""), list("first", R"( yang:insert="first")")}) {
    ASSERT_EQ(Edit(edit).tag, "ok");
  }
  const std::string config = Config();
  EXPECT_LT(config.find("first"), config.find("one"));
  EXPECT_LT(config.find("one"), config.find("two"));
}

TEST_F(AccessRequest, RulesThatTheModelDoesNotTakeAreRefused) {
  const std::string nacm =
      R"(<nacm xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-acm"><rule-list><name>l</name>)"
      "<group>a</group><rule><name>r</name><path>/nothing</path><action>permit</action></rule>"
      "</rule-list></nacm>";
  EXPECT_NE(Edit(nacm).tag, "ok");
}

TEST(RefusalRecordsTest, OneInAMinuteForEachSession) {
  using std::chrono::seconds;
  host::RefusalRecords records;
  const host::RefusalRecords::Clock::time_point begin;
  EXPECT_TRUE(records.IsDue(1, begin));
  EXPECT_FALSE(records.IsDue(1, begin + seconds(59)));
  EXPECT_TRUE(records.IsDue(2, begin + seconds(59)));
  EXPECT_TRUE(records.IsDue(1, begin + seconds(60)));
  EXPECT_FALSE(records.IsDue(1, begin + seconds(61)));
  EXPECT_FALSE(records.IsDue(2, begin + seconds(61)));
}

}  // namespace
}  // namespace host::test
