// What snmp-app-show prints: the model's leaves, all of them, in columns.
#include "state_tables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "state_support.h"

namespace show::test {
namespace {

std::string Shown(const std::string& content, const show::Selection& selection = {}) {
  const host::Tree state = StateOf(content);
  std::ostringstream out;
  show::PrintState({out}, state.get(), selection, "");
  return out.str();
}

TEST(StateTables, EveryLeafOfTheModelIsShown) {
  const std::vector<const lysc_node*> leaves = LeavesBelow(StateContainer());
  ASSERT_GT(leaves.size(), 30U);
  const std::string shown = Shown(Filled(StateContainer(), nullptr));
  for (const lysc_node* leaf : leaves) {
    EXPECT_NE(Shown(Filled(StateContainer(), leaf)), shown)
        << leaf->parent->name << '/' << leaf->name << " has no column";
  }
}

TEST(StateTables, EveryColumnHasItsLeaf) {
  const std::string shown = Shown(Filled(StateContainer(), nullptr));
  EXPECT_THAT(shown.substr(0, shown.find("NETCONF sessions\n")),
              testing::Not(testing::HasSubstr(kNothing)));
}

TEST(StateTables, WithoutAnythingTablesAreEmptyAndTroublesLeftOut) {
  EXPECT_EQ(Shown(""),
            "Role: —   agent: —   retry pending: —   version: —   up: —   NETCONF sessions: 0\n"
            "Commits: —   rebinds: —   retries: —   answers not sent: —   "
            "listeners reopened: —   requests refused: —\n"
            "\nThe agent listens at\n  none\n"
            "\nListening interfaces\n  none\n"
            "\nNotification targets\n  none\n"
            "\nLast faults\n  none\n"
            "\nNETCONF sessions\n  none\n");
}

TEST(StateTables, BooleansAreYesAndNoAndMissingLeavesDashes) {
  EXPECT_THAT(Shown("<target><name>a</name><vrf>red</vrf><rule>true</rule></target>"
                    "<target><name>long</name><vrf>red</vrf><rule>false</rule>"
                    "<reason>true</reason></target>"),
              testing::HasSubstr("\nNotification targets\n"
                                 "  name  address  port  VRF  routing rule  why not\n"
                                 "  a     —        —     red  yes           —\n"
                                 "  long  —        —     red  no            true\n"));
}

TEST(StateTables, ANoThatIsNoFaultIsADash) {
  const std::string interface =
      "<listening-interface><name>l3-a</name><vrf>red</vrf><redirect>false</redirect>"
      "<reason>r</reason></listening-interface>";
  EXPECT_THAT(Shown("<target><name>a</name><rule>false</rule><reason>r</reason></target>"),
              testing::HasSubstr("  a     —        —     —    —             r\n"));
  EXPECT_THAT(Shown("<agent><enabled>true</enabled></agent>" + interface),
              testing::HasSubstr("  l3-a  red  —            —     —              no         r\n"));
  EXPECT_THAT(Shown("<agent><enabled>false</enabled></agent>" + interface),
              testing::HasSubstr("  l3-a  red  —            —     —              —          r\n"));
}

TEST(StateTables, TroublesAreOfTheListenersThatHadThem) {
  const std::string shown = Shown(
      "<agent><listener><endpoint>192.0.2.1:161</endpoint></listener>"
      "<listener><endpoint>192.0.2.2:161</endpoint><answers-not-sent>3</answers-not-sent>"
      "<answer-error>no route</answer-error></listener></agent>");
  EXPECT_THAT(shown, testing::HasSubstr("\nAnswers not sent\n"
                                        "  from           answers  last error\n"
                                        "  192.0.2.2:161  3        no route\n\n"));
  EXPECT_THAT(shown, testing::Not(testing::HasSubstr("Found deaf")));
}

TEST(StateTables, OfAKindItsTablesAreShownAlone) {
  const std::string content =
      "<agent><listener><endpoint>192.0.2.2:161</endpoint><answers-not-sent>3</answers-not-sent>"
      "</listener></agent><target><name>a</name></target>";
  EXPECT_EQ(Shown(content, {&kTarget, {}}),
            "Notification targets\n"
            "  name  address  port  VRF  routing rule  why not\n"
            "  a     —        —     —    —             —\n");
  EXPECT_EQ(Shown(content, {&kInterface, {}}), "Listening interfaces\n  none\n");
  EXPECT_EQ(Shown(content, {&kListener, {}}),
            "The agent listens at\n"
            "  address        bound  since  tries  last error  why not\n"
            "  192.0.2.2:161  —      —      —      —           —\n"
            "\nAnswers not sent\n"
            "  from           answers  last error\n"
            "  192.0.2.2:161  3        —\n");
}

TEST(StateTables, AgentUptimeAndRoleAreInTheFirstLine) {
  const std::string shown = Shown(
      "<version>1.2</version><uptime>3700</uptime><ha-role>active</ha-role>"
      "<agent><enabled>false</enabled><retry-pending>true</retry-pending></agent>");
  EXPECT_EQ(shown.substr(0, shown.find('\n')),
            "Role: active   agent: disabled   retry pending: yes   version: 1.2   up: 1 h 1 min   "
            "NETCONF sessions: 0");
}

TEST(StateTables, SessionsAreShownWithoutTheOneThatAsks) {
  const host::Tree tree = TreeOf(
      StateXml("") +
      R"(<netconf-state xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring"><sessions>)"
      "<session><session-id>7</session-id><username>ann</username>"
      "<login-time>2026-11-21T10:00:00Z</login-time></session>"
      "<session><session-id>8</session-id><username>root</username></session>"
      "</sessions></netconf-state>");
  std::ostringstream out;
  PrintState({out}, tree.get(), {}, "8");
  EXPECT_THAT(out.str(), testing::HasSubstr("NETCONF sessions: 1\n"));
  EXPECT_THAT(out.str(),
              testing::ContainsRegex("\nNETCONF sessions\n  number  user  from  since *\n"
                                     "  7       ann   —     2026[^\n]*\n$"));
}

TEST(StateTables, ColoursAreOnlyWhereTheyAreWanted) {
  const host::Tree state =
      StateOf("<target><name>a</name><vrf>red</vrf><rule>false</rule></target>");
  std::ostringstream plain;
  std::ostringstream coloured;
  PrintState({plain, false}, state.get(), {&kTarget, {}}, "");
  PrintState({coloured, true}, state.get(), {&kTarget, {}}, "");
  EXPECT_THAT(plain.str(), testing::Not(testing::HasSubstr("\x1b")));
  EXPECT_THAT(coloured.str(), testing::HasSubstr("\x1b[1mNotification targets\x1b[0m\n"));
  EXPECT_THAT(coloured.str(), testing::HasSubstr("red  \x1b[31mno\x1b[0m            \x1b[2m—"));
}

TEST(SpanText, HasTheTwoLargestUnits) {
  EXPECT_EQ(SpanText(0), "0 s");
  EXPECT_EQ(SpanText(59), "59 s");
  EXPECT_EQ(SpanText(60), "1 min");
  EXPECT_EQ(SpanText(3599), "59 min 59 s");
  EXPECT_EQ(SpanText(3601), "1 h");
  EXPECT_EQ(SpanText(90061), "1 d 1 h");
  EXPECT_EQ(SpanText(863999), "9 d 23 h");
}

}  // namespace
}  // namespace show::test
