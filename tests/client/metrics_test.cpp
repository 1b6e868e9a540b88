// The state as metrics: each figure of the model, in the text format.
#include "metrics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "state_support.h"

namespace show::test {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string Metrics(const std::string& content) {
  const host::Tree state = StateOf(content);
  std::ostringstream out;
  PrintMetrics(out, state.get(), "");
  return out.str();
}

/// What a fault says is for people.
bool IsFigure(const lysc_node* leaf) {
  const LY_DATA_TYPE type = reinterpret_cast<const lysc_node_leaf*>(leaf)->type->basetype;
  return std::string(leaf->parent->name) != "fault" &&
         (type != LY_TYPE_STRING || std::string(leaf->name) == "since");
}

TEST(Metrics, EveryFigureOfTheModelIsOne) {
  const std::string before = Metrics(Filled(StateContainer(), nullptr));
  size_t figures = 0;
  for (const lysc_node* leaf : LeavesBelow(StateContainer())) {
    if (!IsFigure(leaf)) continue;
    ++figures;
    EXPECT_NE(Metrics(Filled(StateContainer(), leaf)), before) << leaf->name << " is no metric";
  }
  EXPECT_GT(figures, 15U);
}

TEST(Metrics, EachHasOneHelpAndOneTypeBeforeItsSamples) {
  std::istringstream lines(Metrics(Filled(StateContainer(), nullptr)));
  std::set<std::string> seen;
  std::string name;
  size_t samples = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("# HELP ", 0) == 0) {
      name = line.substr(7, line.find(' ', 7) - 7);
      EXPECT_TRUE(seen.insert(name).second) << name << " comes twice";
      std::getline(lines, line);
      EXPECT_THAT(line, testing::MatchesRegex("# TYPE " + name + " (gauge|counter)"));
      const bool is_total = name.size() > 6 && name.substr(name.size() - 6) == "_total";
      EXPECT_EQ(is_total, line.find(" counter") != std::string::npos) << name;
    } else {
      EXPECT_THAT(line, testing::MatchesRegex(name + "(\\{.*\\})? [0-9]+"));
      ++samples;
    }
  }
  EXPECT_GT(seen.size(), 20U);
  EXPECT_GE(samples, seen.size());
}

TEST(Metrics, LabelsAreEscaped) {
  EXPECT_EQ(EscapeLabel("a\\b\"c\nd"), "a\\\\b\\\"c\\nd");
  EXPECT_THAT(Metrics("<target><name>a\"b\\</name><vrf>red</vrf><rule>true</rule></target>"),
              HasSubstr("snmp_app_target_rule{target=\"a\\\"b\\\\\",vrf=\"red\"} 1\n"));
}

TEST(Metrics, ANoThatIsNoFaultHasNoSample) {
  EXPECT_THAT(Metrics("<target><name>a</name><rule>false</rule></target>"),
              Not(HasSubstr("snmp_app_target_rule")));
  EXPECT_THAT(Metrics("<target><name>a</name><vrf>red</vrf><rule>false</rule></target>"),
              HasSubstr("snmp_app_target_rule{target=\"a\",vrf=\"red\"} 0\n"));
}

TEST(Metrics, ARoleIsOneOfThree) {
  EXPECT_THAT(Metrics("<ha-role>active</ha-role>"),
              HasSubstr("snmp_app_ha_role{role=\"unknown\"} 0\n"
                        "snmp_app_ha_role{role=\"active\"} 1\n"
                        "snmp_app_ha_role{role=\"standby\"} 0\n"));
}

TEST(Metrics, TimesAreSecondsOfTheEpoch) {
  EXPECT_THAT(Metrics("<agent><listener><endpoint>a:1</endpoint>"
                      "<since>2026-11-21T10:00:00Z</since></listener></agent>"),
              HasSubstr("since_timestamp_seconds{address=\"a:1\"} 1795255200\n"));
}

TEST(Metrics, FaultsAreCountedAndTheLastOneHasItsTime) {
  EXPECT_THAT(Metrics(""), HasSubstr("snmp_app_faults_kept 0\n"));
  EXPECT_THAT(Metrics(""), Not(HasSubstr("last_fault")));
  const std::string metrics = Metrics(
      "<fault><time>2026-11-21T09:00:00Z</time></fault>"
      "<fault><time>2026-11-21T10:00:00Z</time></fault>");
  EXPECT_THAT(metrics, HasSubstr("snmp_app_faults_kept 2\n"));
  EXPECT_THAT(metrics, HasSubstr("snmp_app_last_fault_timestamp_seconds 1795255200\n"));
}

}  // namespace
}  // namespace show::test
