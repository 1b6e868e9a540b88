// What is asked for, and whether it is there and in force.
#include "selection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/yang_data.h"
#include "state_support.h"

namespace show::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kEnabled[] = "<agent><enabled>true</enabled></agent>";

std::vector<std::string> MissingOf(const std::string& content, const Selection& selection) {
  const host::Tree tree = StateOf(content);
  return Missing(tree.get(), selection);
}

std::string Interface(const std::string& content) {
  return "<listening-interface><name>l3-a</name>" + content + "</listening-interface>";
}

std::string Target(const std::string& content) {
  return "<target><name>noc</name>" + content + "</target>";
}

TEST(Selection, OfEverythingMissesNothing) {
  EXPECT_THAT(MissingOf(kEnabled + Target("<vrf>red</vrf><rule>false</rule>"), {}), IsEmpty());
}

TEST(Selection, WhatIsInForceIsNotMissed) {
  const std::string content = Target("<vrf>red</vrf><rule>true</rule>");
  EXPECT_THAT(MissingOf(content, {&kTarget, {"noc"}}), IsEmpty());
  EXPECT_THAT(MissingOf(content, {&kTarget, {}}), IsEmpty());
}

TEST(Selection, WhatIsNotThereIsMissed) {
  EXPECT_THAT(MissingOf(Target("<vrf>red</vrf><rule>true</rule>"), {&kTarget, {"noc", "two"}}),
              ElementsAre("there is no target two"));
  EXPECT_THAT(MissingOf(kEnabled, {&kListener, {"192.0.2.1:161"}}),
              ElementsAre("there is no listener 192.0.2.1:161"));
  EXPECT_THAT(MissingOf(kEnabled, {&kListener, {}}), IsEmpty());
}

TEST(Selection, WhatIsNotInForceIsMissed) {
  EXPECT_THAT(MissingOf(Target("<vrf>red</vrf><rule>false</rule>"), {&kTarget, {}}),
              ElementsAre("target noc is not in force"));
  EXPECT_THAT(MissingOf("<agent><enabled>true</enabled><listener><endpoint>a:1</endpoint>"
                        "<bound>false</bound></listener></agent>",
                        {&kListener, {"a:1"}}),
              ElementsAre("listener a:1 is not in force"));
}

TEST(Selection, ARedirectThatNoRequestGetsThroughIsNotInForce) {
  const std::string content =
      kEnabled + Interface("<vrf>red</vrf><redirect>true</redirect><reason>deaf</reason>");
  EXPECT_THAT(MissingOf(content, {&kInterface, {"l3-a"}}),
              ElementsAre("interface l3-a is not in force"));
}

TEST(Selection, WhatIsNotNeededIsNotMissed) {
  EXPECT_THAT(MissingOf(Target("<rule>false</rule><reason>r</reason>"), {&kTarget, {"noc"}}),
              IsEmpty());
  const std::string interface = Interface("<vrf>red</vrf><redirect>false</redirect>");
  EXPECT_THAT(
      MissingOf("<agent><enabled>false</enabled></agent>" + interface, {&kInterface, {"l3-a"}}),
      IsEmpty());
  EXPECT_THAT(MissingOf(kEnabled + interface, {&kInterface, {"l3-a"}}),
              ElementsAre("interface l3-a is not in force"));
}

TEST(Selection, IsAFilterForTheDaemon) {
  EXPECT_THAT(FilterOf({}), testing::HasSubstr("</snmp-state><netconf-state "));
  EXPECT_EQ(FilterOf({&kTarget, {"a&b", "c"}}),
            StateXml("<agent><enabled/></agent><target><name>a&amp;b</name></target>"
                     "<target><name>c</name></target>"));
  EXPECT_EQ(FilterOf({&kListener, {}}), StateXml("<agent><enabled/><listener></listener></agent>"));
}

}  // namespace
}  // namespace show::test
