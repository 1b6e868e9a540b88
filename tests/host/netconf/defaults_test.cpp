// Values that the models give, in what is read and in edits (RFC 6243).
#include "netconf/defaults.h"

#include <gmock/gmock.h>

#include <string>

#include "config/default_mark.h"
#include "rpc_fixture.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class DefaultsTest : public RpcTest {
 protected:
  Reply Read(const std::string& filter, const std::string& mode) {
    const std::string with = mode.empty() ? ""
                                          : R"(<with-defaults xmlns="urn:ietf:params:xml:ns:yang:)"
                                            R"(ietf-netconf-with-defaults">)" +
                                                mode + "</with-defaults>";
    return Ask("<get-config><source><running/></source><filter>" + Agent(filter) + "</filter>" +
               with + "</get-config>");
  }

  Reply EditPort(const std::string& attributes, const std::string& value = "161") {
    return Edit(Agent("<port xmlns:wd=\"" + std::string(host::kDefaultNamespace) + "\" " +
                      attributes + ">" + value + "</port>"));
  }
};

const std::string kTrue = R"(wd:default="true")";

TEST_F(DefaultsTest, TheModeComesBeforeTheFilter) {
  EXPECT_EQ(TextOf(Read("<port>161</port>", "").xml, "data"), "");
  EXPECT_THAT(Read("<port>161</port>", "report-all").xml, HasSubstr("<port>161</port>"));
  ASSERT_EQ(Edit(Agent("<port>161</port>")).tag, "ok");
  EXPECT_THAT(Read("<port>161</port>", "").xml, HasSubstr("<port>161</port>"));
  EXPECT_THAT(Read("<port>161</port>", "trim").xml, Not(HasSubstr("<port>")));
}

TEST_F(DefaultsTest, WhatNobodySetIsTaggedInTheAttributesOwnNamespace) {
  ASSERT_EQ(Edit(Agent("<port>161</port>")).tag, "ok");
  const std::string told = Read("", "report-all-tagged").xml;
  EXPECT_THAT(told, HasSubstr("=\"" + std::string(host::kDefaultNamespace) + "\""));
  EXPECT_THAT(told, HasSubstr(R"(:default="true">0.0.0.0</ip>)"));
  EXPECT_THAT(told, HasSubstr("<port>161</port>"));
}

TEST_F(DefaultsTest, TheAttributeTakesAValueAway) {
  ASSERT_EQ(Edit(Agent("<port>1161</port>")).tag, "ok");
  EXPECT_EQ(EditPort(kTrue).tag, "ok");
  EXPECT_EQ(Config(), "");
  EXPECT_EQ(EditPort(R"(wd:default="0")").tag, "ok");
  EXPECT_EQ(Config(), Agent("<port>161</port>"));
  EXPECT_EQ(EditPort(R"(wd:default="1" nc:operation="create")").tag, "data-exists");
}

TEST_F(DefaultsTest, TheAttributeIsForDefaultsThatAreSet) {
  ASSERT_EQ(Edit(Agent("<port>1161</port>")).tag, "ok");
  for (const char* operation : {"delete", "remove"}) {
    const std::string attributes = kTrue + " nc:operation=\"" + operation + "\"";
    EXPECT_EQ(EditPort(attributes).tag, "invalid-value") << operation;
    EXPECT_EQ(EditPort(attributes, "").tag, "invalid-value") << operation;
  }
  EXPECT_EQ(EditPort(kTrue, "1161").tag, "invalid-value");
  EXPECT_EQ(EditPort(R"(wd:default="yes")").tag, "bad-attribute");
  const Reply inner =
      Edit("<confdConfig xmlns=\"urn:snmp-app:dyncfg\"><snmpAgent xmlns:wd=\"" +
           std::string(host::kDefaultNamespace) + "\" " + kTrue + "/></confdConfig>");
  EXPECT_EQ(inner.tag, "unknown-attribute");
  EXPECT_EQ(inner.info,
            "<bad-element>snmpAgent</bad-element><bad-attribute>default</bad-attribute>");
  EXPECT_EQ(Config(), Agent("<port>1161</port>"));
}

}  // namespace
}  // namespace host::test
