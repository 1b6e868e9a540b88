// Requests that are refused, and why.
#include <gmock/gmock.h>

#include <string>

#include "rpc_fixture.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;

class MalformedMessage : public RpcTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(MalformedMessage, EndsTheSession) {
  const Reply reply = Handle(GetParam());
  EXPECT_EQ(reply.tag, "malformed-message");
  EXPECT_TRUE(reply.closes);
}

INSTANTIATE_TEST_SUITE_P(
    Each, MalformedMessage,
    ::testing::Values("", "text", "<rpc", "<a><b></a>", R"(<rpc message-id="1"><commit/></rpc>)",
                      R"(<rpc xmlns="urn:x" message-id="1"><commit/></rpc>)",
                      R"(<hello xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"/>)"));

TEST_F(RpcTest, XmlThatIsNotWellFormedEndsTheSession) {
  for (const std::string& message :
       {Rpc("<commit>"), Rpc("<get><filter><a></filter></get>"), Rpc("<x:commit/>"),
        Rpc("<commit/>", R"(message-id="1" message-id="2")"), Rpc("<commit>&other;</commit>"),
        Rpc("<commit/>") + Rpc("<commit/>"), Rpc("<commit/>") + "text",
        Rpc("<commit/>") + std::string(1, '\0')}) {
    const Reply reply = Handle(message);
    EXPECT_EQ(reply.tag, "malformed-message") << message;
    EXPECT_TRUE(reply.closes) << message;
  }
}

struct BadRequest {
  const char* name;
  std::string operation;
  const char* tag;
  std::string info;  ///< The whole <error-info>, empty for none.
};

void PrintTo(const BadRequest& request, std::ostream* out) { *out << request.operation; }

class BadRequests : public RpcTest, public ::testing::WithParamInterface<BadRequest> {};

TEST_P(BadRequests, AreToldApartAndKeepTheSession) {
  const Reply reply = Ask(GetParam().operation);
  EXPECT_EQ(reply.tag, GetParam().tag) << reply.message;
  EXPECT_EQ(reply.info, GetParam().info);
  EXPECT_NE(reply.message, "");
  EXPECT_FALSE(reply.closes);
}

std::string EditOf(const std::string& content) {
  return "<edit-config><target><running/></target><config>" + content + "</config></edit-config>";
}

std::string Misused(const std::string& attribute, const std::string& element) {
  return "<bad-attribute>" + attribute + "</bad-attribute><bad-element>" + element +
         "</bad-element>";
}

INSTANTIATE_TEST_SUITE_P(
    Each, BadRequests,
    ::testing::Values(
        BadRequest{"NoOperation", "", "missing-element", ""},
        BadRequest{"TwoOperations", "<commit/><commit/>", "unknown-element",
                   "<bad-element>commit</bad-element>"},
        BadRequest{"NoTarget", "<lock/>", "missing-element", "<bad-element>target</bad-element>"},
        BadRequest{"NoSource", "<get-config/>", "missing-element",
                   "<bad-element>source</bad-element>"},
        BadRequest{"NoConfig", "<edit-config><target><running/></target></edit-config>",
                   "missing-element", "<bad-element>config</bad-element>"},
        BadRequest{"NoSessionId", "<kill-session/>", "missing-element",
                   "<bad-element>session-id</bad-element>"},
        BadRequest{"BadSessionId", "<kill-session><session-id>0</session-id></kill-session>",
                   "invalid-value", "<bad-element>session-id</bad-element>"},
        BadRequest{"ADatastoreThatThereIsNot", OnTarget("lock", "intended"), "unknown-element",
                   "<bad-element>intended</bad-element>"},
        BadRequest{"AnEditOfTheStartupDatastore",
                   "<edit-config><target><startup/></target><config/></edit-config>",
                   "unknown-element", "<bad-element>startup</bad-element>"},
        BadRequest{"ARollbackToNoNumber", R"(<rollback xmlns="urn:snmp-app:history"/>)",
                   "missing-element", "<bad-element>number</bad-element>"},
        BadRequest{"TwoDatastores", "<lock><target><running/><candidate/></target></lock>",
                   "bad-element", "<bad-element>candidate</bad-element>"},
        BadRequest{"AnUnknownParameter", "<commit><absent/></commit>", "unknown-element",
                   "<bad-element>absent</bad-element>"},
        BadRequest{"AnUnknownNamespace", R"(<commit xmlns="urn:x"/>)", "unknown-namespace",
                   "<bad-namespace>urn:x</bad-namespace>"},
        BadRequest{"AnUnknownAttribute", EditOf(Agent(R"(<port nc:absent="1">1</port>)")),
                   "unknown-attribute", Misused("absent", "port")},
        BadRequest{"AnAttributeOfADevicesModel",
                   EditOf(Agent(R"(<port xmlns:c="urn:snmp-app:dyncfg" c:absent="1">1</port>)")),
                   "unknown-attribute", Misused("absent", "port")},
        BadRequest{"AnOperationWithoutANamespace",
                   EditOf(Agent(R"(<port operation="delete">1</port>)")), "unknown-attribute",
                   Misused("operation", "port")},
        BadRequest{"AnOperationOfAMistypedNamespace",
                   EditOf(Agent(R"(<port xmlns:n="urn:ietf:params:xml:ns:netconf:base:1.1" )"
                                R"(n:operation="delete">1</port>)")),
                   "unknown-attribute", Misused("operation", "port")},
        BadRequest{"AnOperationOutsideOfAConfiguration",
                   R"(<edit-config><target><running/></target><config nc:operation="replace"/>)"
                   "</edit-config>",
                   "unknown-attribute", Misused("operation", "config")},
        BadRequest{"AnAttributeOfAnOperation", R"(<commit now="true"/>)", "unknown-attribute",
                   Misused("now", "commit")},
        BadRequest{"AnAttributeWithinAFilter",
                   R"(<get><filter><a xmlns="urn:a" unit="b"/></filter></get>)",
                   "unknown-attribute", Misused("unit", "a")},
        BadRequest{"AnUnknownEdit", EditOf(Agent(R"(<port nc:operation="other">1</port>)")),
                   "bad-attribute", Misused("operation", "port")},
        BadRequest{"TwoEdits", EditOf(Agent(R"(<port nc:operation="merge replace">1</port>)")),
                   "bad-attribute", Misused("operation", "port")},
        BadRequest{"AnUnknownPlace",
                   EditOf(Agent(R"(<port xmlns:y="urn:ietf:params:xml:ns:yang:1" )"
                                R"(y:insert="here">1</port>)")),
                   "bad-attribute", Misused("insert", "port")},
        BadRequest{"AnUnknownAuthor",
                   EditOf(Agent(R"(<port xmlns:p="urn:snmp-app:platform" p:written-by="me">1)"
                                "</port>")),
                   "bad-attribute", Misused("written-by", "port")},
        BadRequest{"AnUnknownTestOption",
                   "<edit-config><target><running/></target><test-option>other</test-option>"
                   "<config/></edit-config>",
                   "invalid-value", "<bad-element>test-option</bad-element>"},
        BadRequest{"AValueThatReadsAsAnotherRefusal",
                   "<edit-config><target><running/></target><test-option>Mandatory not found in the"
                   "</test-option><config/></edit-config>",
                   "invalid-value", "<bad-element>test-option</bad-element>"},
        BadRequest{"AFilterOfAnotherKind", R"(<get><filter type="other"/></get>)", "bad-attribute",
                   Misused("type", "filter")},
        BadRequest{"AnXPathFilterWithoutSelect", R"(<get><filter type="xpath"/></get>)",
                   "missing-attribute", Misused("select", "filter")},
        BadRequest{"AFilterOfEntriesWithoutANamespace",
                   R"(<get><filter><a xmlns=""><b/><b/></a></filter></get>)",
                   "operation-not-supported", "<bad-element>b</bad-element>"},
        BadRequest{"ABrokenSelect", R"(<get><filter type="xpath" select="/a["/></get>)",
                   "bad-attribute", Misused("select", "filter")},
        BadRequest{"DeletionOfTheCandidate", OnTarget("delete-config", "candidate"),
                   "operation-not-supported", ""},
        BadRequest{"DeletionOfRunning", OnTarget("delete-config", "running"),
                   "operation-not-supported", ""},
        BadRequest{"TextAsConfiguration", EditOf("text"), "invalid-value",
                   "<bad-element>config</bad-element>"},
        BadRequest{"AParameterTwice",
                   "<lock><target><running/></target><target><running/></target></lock>",
                   "bad-element", "<bad-element>target</bad-element>"},
        BadRequest{"AnElementInAParametersText", "<commit><persist><a/></persist></commit>",
                   "unknown-element", "<bad-element>a</bad-element>"},
        BadRequest{"AnElementInALeaf", EditOf(Agent("<port><a/></port>")), "unknown-element",
                   "<bad-element>a</bad-element>"},
        BadRequest{"ALeafTwice", EditOf(Agent("<port>1</port><port>2</port>")), "bad-element",
                   "<bad-element>port</bad-element>"},
        BadRequest{"ALeafThatIsDeletedAndSet",
                   EditOf(Agent(R"(<port nc:operation="delete"/><port>2</port>)")), "bad-element",
                   "<bad-element>port</bad-element>"},
        BadRequest{"AVariable", R"(<get><filter type="xpath" select="$x"/></get>)", "invalid-value",
                   Misused("select", "filter")},
        BadRequest{"AKeyTwice", EditOf(Interface("<name>a</name><name>b</name>")), "bad-element",
                   "<bad-element>name</bad-element>"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(RpcTest, AValueOfARequestIsToldWhatIsExpected) {
  EXPECT_EQ(Ask("<edit-config><target><running/></target><test-option>other</test-option>"
                "<config/></edit-config>")
                .message,
            "test-option: expected one of test-then-set, set, test-only");
  EXPECT_EQ(Ask("<kill-session><session-id>0</session-id></kill-session>").message,
            "session-id: expected 1 to 4294967295");
}

TEST_F(RpcTest, WhatIsNoConfigurationIsNotEdited) {
  const std::string monitoring = R"( xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring")";
  const std::string set = "<test-option>set</test-option>";
  for (const char* target : {"running", "candidate"}) {
    const Reply state =
        Edit("<netconf-state" + monitoring + "><sessions/></netconf-state>", target, set);
    EXPECT_EQ(state.tag, "unknown-element");
    EXPECT_EQ(state.path, "/ietf-netconf-monitoring:netconf-state");
    EXPECT_EQ(Edit("<get/>", target, set).tag, "unknown-element");
    EXPECT_EQ(
        Edit("<get-schema" + monitoring + "><identifier>a</identifier></get-schema>", target, set)
            .tag,
        "unknown-element");
  }
  EXPECT_EQ(Ask("<commit/>").tag, "ok");
}

TEST_F(RpcTest, ADeletionThatIsNoneTakesNothingAndAddsNothing) {
  ASSERT_EQ(Edit(Agent("<port>1161</port>")).tag, "ok");
  EXPECT_EQ(Edit(Agent(R"(<port operation="delete"/><ip>198.51.100.1</ip>)")).tag,
            "unknown-attribute");
  EXPECT_EQ(Config(), Agent("<port>1161</port>"));
}

TEST_F(RpcTest, TextDoesNotReplaceTheConfiguration) {
  ASSERT_EQ(Edit(Agent("<port>1161</port>")).tag, "ok");
  EXPECT_EQ(Edit("text", "running", "<default-operation>replace</default-operation>").tag,
            "invalid-value");
  EXPECT_EQ(Ask(Copy("running", "<config>text</config>")).tag, "invalid-value");
  EXPECT_EQ(Config(), Agent("<port>1161</port>"));
}

TEST_F(RpcTest, ABadValuesRefusalHasTheModelsReason) {
  const Reply reply = Edit(Interface("<name>a</name><kernel-name>a/b</kernel-name>"));
  EXPECT_EQ(reply.tag, "invalid-value");
  EXPECT_EQ(reply.path,
            "/config:config/config:interface/config:l3[config:name='a']/config:kernel-name");
  EXPECT_THAT(reply.message, HasSubstr("consists of printable ASCII characters"));
}

TEST_F(RpcTest, ALongMessageIsNotRepeated) {
  const Reply reply = Edit(Agent("<port>" + std::string(100000, 'x') + "</port>"));
  EXPECT_EQ(reply.tag, "invalid-value");
  EXPECT_GT(reply.message.size(), 1000U);
  EXPECT_LT(reply.message.size(), 10000U);
}

TEST_F(RpcTest, AMessageIdOfAnotherNamespaceIsNone) {
  EXPECT_EQ(Handle(Rpc("<commit/>", R"(xmlns:a="urn:a" a:message-id="1")")).tag,
            "missing-attribute");
}

TEST_F(RpcTest, CharactersThatXmlDoesNotHaveAreNotRepeated) {
  const Reply bytes = Handle(Rpc("<commit><\xff\xc3\x28\xed\xa0\x80\xc3\xa4/></commit>"));
  EXPECT_EQ(bytes.tag, "malformed-message");
  EXPECT_EQ(bytes.xml.find('\xff'), std::string::npos) << bytes.xml;
  EXPECT_EQ(bytes.xml.find("\xed"), std::string::npos) << bytes.xml;
  EXPECT_EQ(Handle(Rpc("<commit><\xfb\xa7\xa7\xa7/></commit>")).xml.find('\xfb'),
            std::string::npos);
  EXPECT_THAT(Handle(Rpc("<commit/>", "message-id=\"a&#13;\xc3\xa4&#x20ac;\"")).xml,
              HasSubstr(" message-id=\"a&#13;\xc3\xa4\xe2\x82\xac\""));
}

}  // namespace
}  // namespace host::test
