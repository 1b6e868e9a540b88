// What snmp-app-show prints: the model's leaves, all of them, in columns.
#include "state_tables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libyang/libyang.h>

#include <array>
#include <sstream>
#include <string>
#include <vector>

#include "config/schema.h"
#include "netconf/xml.h"

namespace {

const host::Schema& Models() {
  static const host::Schema models(MODELS_FOLDER);
  return models;
}

const lysc_node* StateContainer() {
  return Models().Resolve({common::PathStep{"", "snmp-state", {}, {}}}).back();
}

std::string Shown(const std::string& content) {
  const host::Tree state = host::ParseState(
      Models().Context(), R"(<snmp-state xmlns="urn:snmp-app:state">)" + content + "</snmp-state>");
  std::ostringstream out;
  show::PrintState(out, state.get());
  return out.str();
}

/// Two values of a leaf. Texts with a pattern are times.
std::array<const char*, 2> ValuesOf(const lysc_node* leaf) {
  const lysc_type* type = reinterpret_cast<const lysc_node_leaf*>(leaf)->type;
  if (type->basetype == LY_TYPE_BOOL) return {"true", "false"};
  if (type->basetype == LY_TYPE_ENUM) return {"active", "standby"};
  const bool is_time = type->basetype == LY_TYPE_STRING &&
                       reinterpret_cast<const lysc_type_str*>(type)->patterns != nullptr;
  if (is_time) return {"2026-11-21T10:00:00Z", "2026-11-22T10:00:00Z"};
  return {"1", "2"};
}

/// All that can stand below `node`, once; `changed` has its second value.
std::string Filled(const lysc_node* node, const lysc_node* changed) {
  std::string text;
  for (const lysc_node* child = lysc_node_child(node); child != nullptr; child = child->next) {
    const std::string content =
        child->nodetype == LYS_LEAF ? ValuesOf(child)[child == changed] : Filled(child, changed);
    text += host::Element(child->name, content);
  }
  return text;
}

std::vector<const lysc_node*> LeavesBelow(const lysc_node* node) {
  std::vector<const lysc_node*> leaves;
  for (const lysc_node* child = lysc_node_child(node); child != nullptr; child = child->next) {
    if (child->nodetype == LYS_LEAF) leaves.push_back(child);
    for (const lysc_node* leaf : LeavesBelow(child)) leaves.push_back(leaf);
  }
  return leaves;
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
  EXPECT_THAT(Shown(Filled(StateContainer(), nullptr)),
              testing::Not(testing::ContainsRegex(" -( |\n)")));
}

TEST(StateTables, WithoutAnythingTablesAreEmptyAndTroublesLeftOut) {
  EXPECT_EQ(Shown(""),
            "Role: -   retry pending: -   commits: -   rebinds: -   retries: -   "
            "answers not sent: -   listeners reopened: -   requests refused: -\n"
            "\nThe agent listens at\n  none\n"
            "\nListening interfaces\n  none\n"
            "\nNotification targets\n  none\n"
            "\nLast faults\n  none\n");
}

TEST(StateTables, BooleansAreYesAndNoAndMissingLeavesDashes) {
  EXPECT_THAT(Shown("<target><name>a</name><rule>true</rule></target>"
                    "<target><name>long</name><rule>false</rule><reason>true</reason></target>"),
              testing::HasSubstr("\nNotification targets\n"
                                 "  name  routing rule  why not\n"
                                 "  a     yes           -\n"
                                 "  long  no            true\n"));
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

}  // namespace
