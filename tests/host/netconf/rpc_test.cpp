// Requests that are no operation on a datastore, and what all requests share.
#include "netconf/rpc.h"

#include <gmock/gmock.h>

#include <string>

#include "rpc_fixture.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

const std::string kGetSchema =
    R"(<get-schema xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring">)";

TEST_F(RpcTest, AReplyHasTheAttributesOfItsRequest) {
  const Reply reply = Handle(Rpc("<commit/>", R"(message-id="a&lt;&amp;&quot;1" xmlns:x="urn:x" )"
                                              R"(x:more="2" other="3")"));
  EXPECT_EQ(reply.tag, "ok");
  EXPECT_THAT(reply.xml,
              StartsWith(R"(<rpc-reply xmlns="urn:ietf:params:xml:ns:netconf:base:1.0")"));
  EXPECT_THAT(reply.xml, HasSubstr(R"( message-id="a&lt;&amp;&quot;1")"));
  EXPECT_THAT(reply.xml, HasSubstr(R"( xmlns:x="urn:x" x:more="2")"));
  EXPECT_THAT(reply.xml, HasSubstr(R"( other="3")"));
  EXPECT_THAT(reply.xml, HasSubstr("<ok/>"));
}

TEST_F(RpcTest, AReplyHasLineEndsOfAnAttributeAsReferences) {
  EXPECT_THAT(Handle(Rpc("<commit/>", "message-id=\"a\n&#10;&#9;b\"")).xml,
              HasSubstr(R"( message-id="a &#10;&#9;b")"));
}

TEST_F(RpcTest, ARefusedMessageKeepsItsIdWhereThereIsOne) {
  const Reply reply = Handle(Rpc("<commit>&#x10ffff;</commit>", R"(message-id="5")"));
  EXPECT_EQ(reply.tag, "malformed-message");
  EXPECT_THAT(reply.xml, HasSubstr(R"( message-id="5"><rpc-error>)"));
}

TEST_F(RpcTest, APrefixOfTwoAttributesIsDeclaredOnce) {
  const Reply reply = Handle(Rpc("<commit/>", R"(message-id="1" xmlns:x="urn:x" x:a="2" x:b="3")"));
  const size_t first = reply.xml.find("xmlns:x=");
  ASSERT_NE(first, std::string::npos);
  EXPECT_EQ(reply.xml.find("xmlns:x=", first + 1), std::string::npos) << reply.xml;
}

TEST_F(RpcTest, AnErrorHasTheAttributesToo) {
  EXPECT_THAT(Handle(Rpc("<absent/>", R"(message-id="17")")).xml,
              HasSubstr(R"( message-id="17"><rpc-error>)"));
}

TEST_F(RpcTest, ARequestHasAMessageId) {
  const Reply reply = Handle(Rpc("<commit/>", ""));
  EXPECT_EQ(reply.tag, "missing-attribute");
  EXPECT_THAT(reply.info, HasSubstr("<bad-attribute>message-id</bad-attribute>"));
  EXPECT_THAT(reply.info, HasSubstr("<bad-element>rpc</bad-element>"));
  EXPECT_FALSE(reply.closes);
}

TEST_F(RpcTest, ARequestMayBeginWithADeclaration) {
  EXPECT_EQ(Handle("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + Rpc("<commit/>")).tag, "ok");
}

TEST_F(RpcTest, OperationsThatThereAreNot) {
  const Reply unknown = Ask("<absent/>");
  EXPECT_EQ(unknown.tag, "unknown-element");
  EXPECT_EQ(unknown.info, "<bad-element>absent</bad-element>");
  EXPECT_FALSE(unknown.closes);
}

TEST_F(RpcTest, AClientOfBase10IsNotToldATagOfBase11) {
  const Reply reply = HandleOld("<rpc");
  EXPECT_EQ(reply.tag, "operation-failed");
  EXPECT_TRUE(reply.closes);
  EXPECT_EQ(HandleOld(Rpc("<absent/>")).tag, "unknown-element");
}

TEST_F(RpcTest, CloseSessionEndsTheSession) {
  const Reply reply = Ask("<close-session/>");
  EXPECT_EQ(reply.tag, "ok");
  EXPECT_TRUE(reply.closes);
}

TEST_F(RpcTest, KillSessionEndsAnother) {
  EXPECT_EQ(Ask("<kill-session><session-id>7</session-id></kill-session>").tag, "ok");
  EXPECT_EQ(killed_, 7U);
  const Reply absent = Ask("<kill-session><session-id>8</session-id></kill-session>");
  EXPECT_EQ(absent.tag, "invalid-value");
  EXPECT_EQ(absent.message, "there is no session 8");
  EXPECT_EQ(Ask("<kill-session><session-id>7</session-id></kill-session>", 7).tag, "invalid-value");
}

TEST_F(RpcTest, GetSchemaGivesAModel) {
  const Reply reply = Ask(kGetSchema + "<identifier>snmp</identifier></get-schema>");
  EXPECT_EQ(reply.tag, "ok");
  EXPECT_THAT(reply.xml, HasSubstr("module snmp {"));
  EXPECT_THAT(reply.xml, HasSubstr("udp-port &lt; 65535"));
  EXPECT_EQ(Ask(kGetSchema + "<identifier>snmp</identifier><version>2026-11-21</version>"
                             "<format>yang</format></get-schema>")
                .tag,
            "ok");
}

TEST_F(RpcTest, GetSchemaRefusesWhatThereIsNot) {
  EXPECT_EQ(Ask(kGetSchema + "<identifier>absent</identifier></get-schema>").tag, "invalid-value");
  EXPECT_EQ(Ask(kGetSchema + "<identifier>snmp</identifier><version>2000-01-01</version>"
                             "</get-schema>")
                .tag,
            "invalid-value");
  EXPECT_EQ(Ask(kGetSchema + "<identifier>snmp</identifier><format>yin</format></get-schema>").info,
            "<bad-element>format</bad-element>");
}

TEST_F(RpcTest, DefaultsAreReportedAsAsked) {
  ASSERT_EQ(Edit(Agent("<port>161</port>")).tag, "ok");
  const auto agent = [this](const std::string& mode) {
    return TextOf(Ask("<get-config><source><running/></source><filter>" + Agent("") +
                      "</filter><with-defaults xmlns=\"urn:ietf:params:xml:ns:yang:"
                      "ietf-netconf-with-defaults\">" +
                      mode + "</with-defaults></get-config>")
                      .xml,
                  "data");
  };
  EXPECT_EQ(agent("explicit"), Agent("<port>161</port>"));
  EXPECT_EQ(agent("trim"), "");
  EXPECT_EQ(agent("report-all"), Agent("<enabled>false</enabled><ip>0.0.0.0</ip><port>161</port>"));
  EXPECT_THAT(agent("report-all-tagged"), HasSubstr(R"(:default="true">0.0.0.0</ip>)"));
  EXPECT_THAT(agent("report-all-tagged"), HasSubstr("<port>161</port>"));
  EXPECT_THAT(Config(), Not(HasSubstr("<ip>")));
}

TEST_F(RpcTest, AnXPathFilterHasThePrefixesOfItsElement) {
  ASSERT_EQ(Edit(Agent("<port>1161</port><enabled>true</enabled>")).tag, "ok");
  const auto get = [this](const std::string& select) {
    return Ask("<get><filter type=\"xpath\" xmlns:d=\"urn:snmp-app:dyncfg\" select=\"" + select +
               "\"/></get>");
  };
  EXPECT_EQ(TextOf(get("/d:confdConfig/d:snmpAgent/d:port").xml, "data"),
            Agent("<port>1161</port>"));
  EXPECT_EQ(get("count(/d:confdConfig)").tag, "invalid-value");
  EXPECT_NE(get("/d:confdConfig[").tag, "ok");
}

TEST_F(RpcTest, MarkupInAnErrorStaysText) {
  const Reply value = Edit(Agent("<port>&lt;&amp;\"&gt;</port>"));
  EXPECT_EQ(value.tag, "invalid-value");
  EXPECT_THAT(value.message, HasSubstr("&lt;&amp;&quot;&gt;"));
  const std::string key = "<name>&lt;&amp;'&gt;</name>";
  const Reply path = Edit(Interface(key + R"(<ipv4 nc:operation="delete"/>)"));
  EXPECT_EQ(path.tag, "data-missing");
  EXPECT_THAT(path.path,
              HasSubstr("/config:l3[config:name=&quot;&lt;&amp;'&gt;&quot;]/config:ipv4"));
}

}  // namespace
}  // namespace host::test
