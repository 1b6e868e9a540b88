#include "config/differences.h"

#include <gmock/gmock.h>

#include "support.h"

namespace host_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kAgent[] = "/confd_dyncfg:confdConfig";
constexpr char kCommunity[] = "/SNMP_COMMUNITY_MIB:SNMP-COMMUNITY-MIB";
constexpr char kTable[] = "/SNMP-COMMUNITY-MIB/snmpCommunityTable";
constexpr char kRows[] = "/SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry";

std::vector<common::Change> DeviceChanges(const std::string& old_json,
                                          const std::string& new_json) {
  const host::Tree old_tree = Read(DeviceModels(), old_json);
  const host::Tree new_tree = Read(DeviceModels(), new_json);
  return host::Differences(DeviceModels(), old_tree.get(), new_tree.get());
}

std::vector<std::string> AgentLines(const std::string& old_settings,
                                    const std::string& new_settings) {
  std::vector<common::Change> changes =
      DeviceChanges(AgentJson(old_settings), AgentJson(new_settings));
  return Describe(changes, "/confdConfig/snmpAgent");
}

std::vector<std::string> CommunityLines(const std::string& old_rows, const std::string& new_rows) {
  std::vector<common::Change> changes =
      DeviceChanges(CommunityJson(old_rows), CommunityJson(new_rows));
  return Describe(changes, kRows);
}

std::vector<std::string> ShapeLines(const std::string& old_members,
                                    const std::string& new_members) {
  const auto json = [](const std::string& members) {
    return R"({"shapes:shapes": {)" + members + "}}";
  };
  const host::Tree old_tree = Read(ShapeModels(), json(old_members));
  const host::Tree new_tree = Read(ShapeModels(), json(new_members));
  std::vector<common::Change> changes =
      host::Differences(ShapeModels(), old_tree.get(), new_tree.get());
  std::vector<std::string> lines = Describe(changes, "/shapes");
  // The first line is the top container itself, which is modified by whatever changed.
  if (!lines.empty()) {
    EXPECT_EQ(lines.front(), "modified /shapes  -> ");
    lines.erase(lines.begin());
  }
  return lines;
}

TEST(Differences, NoneBetweenEqualConfigurations) {
  const std::string json = CommunityJson(CommunityRow("a", "x"));
  EXPECT_THAT(DeviceChanges(json, json), IsEmpty());
  EXPECT_THAT(DeviceChanges("{}", "{}"), IsEmpty());
}

TEST(Differences, ExplicitDefaultIsNoChange) {
  EXPECT_THAT(AgentLines("", R"("enabled": false, "ip": "0.0.0.0", "port": 161)"), IsEmpty());
}

TEST(Differences, ChangedLeavesBelowAModifiedContainer) {
  EXPECT_THAT(AgentLines(R"("port": 1161)", R"("port": 1162, "ip": "::1", "enabled": true)"),
              ElementsAre("modified /confdConfig/snmpAgent  -> ",
                          "set /confdConfig/snmpAgent/enabled false -> true",
                          "set /confdConfig/snmpAgent/ip 0.0.0.0 -> ::1",
                          "set /confdConfig/snmpAgent/port 1161 -> 1162"));
}

TEST(Differences, LeafThatFallsBackIsSetToItsDefault) {
  EXPECT_THAT(AgentLines(R"("port": 1161)", ""),
              ElementsAre("modified /confdConfig/snmpAgent  -> ",
                          "set /confdConfig/snmpAgent/port 1161 -> 161"));
}

TEST(Differences, LeafListIsOneValue) {
  EXPECT_THAT(AgentLines(R"("extraIpPorts": ["10.0.0.1:161"])",
                         R"("extraIpPorts": ["10.0.0.1:161", "10.0.0.2:161"])"),
              ElementsAre("modified /confdConfig/snmpAgent  -> ",
                          "set /confdConfig/snmpAgent/extraIpPorts "
                          "[ 10.0.0.1:161 ] -> [ 10.0.0.1:161 10.0.0.2:161 ]"));
}

TEST(Differences, LeafListFilledAndEmptied) {
  const std::string one = R"("extraIpPorts": ["10.0.0.1:161"])";
  EXPECT_THAT(AgentLines("", one),
              ElementsAre("modified /confdConfig/snmpAgent  -> ",
                          "set /confdConfig/snmpAgent/extraIpPorts [ ] -> [ 10.0.0.1:161 ]"));
  EXPECT_THAT(AgentLines(one, ""),
              ElementsAre("modified /confdConfig/snmpAgent  -> ",
                          "set /confdConfig/snmpAgent/extraIpPorts [ 10.0.0.1:161 ] -> [ ]"));
}

TEST(Differences, LeafListWithAnEntryReplaced) {
  EXPECT_THAT(AgentLines(R"("extraIpPorts": ["10.0.0.1:161", "10.0.0.2:161"])",
                         R"("extraIpPorts": ["10.0.0.3:161", "10.0.0.1:161"])"),
              ElementsAre("modified /confdConfig/snmpAgent  -> ",
                          "set /confdConfig/snmpAgent/extraIpPorts "
                          "[ 10.0.0.1:161 10.0.0.2:161 ] -> [ 10.0.0.3:161 10.0.0.1:161 ]"));
}

TEST(Differences, OrderCountsOnlyWhereTheUserGivesIt) {
  EXPECT_THAT(AgentLines(R"("extraIpPorts": ["10.0.0.1:161", "10.0.0.2:161"])",
                         R"("extraIpPorts": ["10.0.0.2:161", "10.0.0.1:161"])"),
              IsEmpty());
  EXPECT_THAT(ShapeLines(R"("ranking": ["a", "b"])", R"("ranking": ["b", "a"])"),
              ElementsAre("set /shapes/ranking [ a b ] -> [ b a ]"));
  EXPECT_THAT(CommunityLines(CommunityRow("a", "x") + "," + CommunityRow("b", "y"),
                             CommunityRow("b", "y") + "," + CommunityRow("a", "x")),
              IsEmpty());
}

TEST(Differences, CreatedEntryHasItsLeavesWithoutKey) {
  const std::string rows = kRows;
  EXPECT_THAT(CommunityLines("", CommunityRow("a", "x")),
              ElementsAre("created " + rows + "{a}  -> ",
                          "set " + rows + "{a}/snmpCommunityName  -> public",
                          "set " + rows + "{a}/snmpCommunitySecurityName  -> x"));
}

TEST(Differences, DeletedEntryHasNothingBelow) {
  EXPECT_THAT(CommunityLines(CommunityRow("a", "x"), ""),
              ElementsAre(std::string("deleted ") + kRows + "{a}  -> "));
}

TEST(Differences, ModifiedEntryHasItsChangedLeaves) {
  const std::string rows = kRows;
  EXPECT_THAT(CommunityLines(CommunityRow("a", "x") + "," + CommunityRow("b", "x"),
                             CommunityRow("a", "x") + "," + CommunityRow("b", "y")),
              ElementsAre("modified " + rows + "{b}  -> ",
                          "set " + rows + "{b}/snmpCommunitySecurityName x -> y"));
}

TEST(Differences, DeletedEntriesComeBeforeCreatedOnes) {
  const std::string rows = kRows;
  std::vector<common::Change> changes =
      DeviceChanges(CommunityJson(CommunityRow("a", "x") + "," + CommunityRow("b", "x") + "," +
                                  CommunityRow("c", "x")),
                    CommunityJson(CommunityRow("d", "x") + "," + CommunityRow("c", "x") + "," +
                                  CommunityRow("a", "y")));
  EXPECT_THAT(Describe(changes, kRows, ITER_CONTINUE),
              ElementsAre("deleted " + rows + "{b}  -> ", "created " + rows + "{d}  -> ",
                          "modified " + rows + "{a}  -> "));
}

TEST(Differences, PresenceContainerIsCreatedAndDeleted) {
  EXPECT_THAT(ShapeLines("", R"("feature": {})"),
              ElementsAre("created /shapes/feature  -> ", "set /shapes/feature/level  -> 3"));
  EXPECT_THAT(ShapeLines(R"("feature": {"level": 4})", ""),
              ElementsAre("deleted /shapes/feature  -> "));
  EXPECT_THAT(ShapeLines(R"("feature": {"level": 4})", R"("feature": {})"),
              ElementsAre("modified /shapes/feature  -> ", "set /shapes/feature/level 4 -> 3"));
}

TEST(Differences, LeafWithoutDefaultIsDeleted) {
  EXPECT_THAT(ShapeLines(R"("small": 7)", ""), ElementsAre("deleted /shapes/small 7 -> "));
}

TEST(Differences, OtherCaseOfAChoice) {
  EXPECT_THAT(ShapeLines(R"("left": "a")", R"("right": "b")"),
              ElementsAre("deleted /shapes/left a -> ", "set /shapes/right  -> b"));
}

TEST(Differences, ListsBelowLists) {
  const std::string x = R"({"name": "a", "number": 1, "details": {"inner": [{"id": "x"}]}})";
  const std::string y = R"({"name": "a", "number": 1, "details": {"inner": [{"id": "y"}]}})";
  EXPECT_THAT(
      ShapeLines(R"("outer": [)" + x + "]", R"("outer": [)" + y + "]"),
      ElementsAre("modified /shapes/outer{a 1}  -> ", "modified /shapes/outer{a 1}/details  -> ",
                  "deleted /shapes/outer{a 1}/details/inner{x}  -> ",
                  "created /shapes/outer{a 1}/details/inner{y}  -> "));
  EXPECT_THAT(
      ShapeLines("", R"("outer": [)" + x + "]"),
      ElementsAre("created /shapes/outer{a 1}  -> ", "modified /shapes/outer{a 1}/details  -> ",
                  "created /shapes/outer{a 1}/details/inner{x}  -> "));
}

TEST(Differences, EntryWithNothingBelowButItsKeys) {
  EXPECT_THAT(ShapeLines("", R"("outer": [{"name": "a", "number": 1}])"),
              ElementsAre("created /shapes/outer{a 1}  -> "));
}

TEST(Differences, VisitStopsContinuesAndLeavesOutOldValues) {
  std::vector<common::Change> changes =
      DeviceChanges("{}", CommunityJson(CommunityRow("a", "x") + "," + CommunityRow("b", "y")));
  const std::string rows = kRows;
  EXPECT_THAT(Describe(changes, kRows, ITER_STOP), ElementsAre("created " + rows + "{a}  -> "));
  EXPECT_THAT(Describe(changes, kRows, ITER_CONTINUE),
              ElementsAre("created " + rows + "{a}  -> ", "created " + rows + "{b}  -> "));
  EXPECT_THAT(Describe(changes, kTable, ITER_CONTINUE),
              ElementsAre(std::string("modified ") + kTable + "  -> "));
  EXPECT_THAT(Describe(changes, kAgent), IsEmpty());
  std::vector<common::Change> leaf = DeviceChanges("{}", AgentJson(R"("port": 1161)"));
  EXPECT_THAT(Describe(leaf, "/confd_dyncfg:confdConfig/snmpAgent/port", ITER_CONTINUE, 0),
              ElementsAre("set /confdConfig/snmpAgent/port  -> 1161"));
}

TEST(Differences, TagsAndNamespacesAreTheModels) {
  const std::vector<common::Change> changes = DeviceChanges("{}", AgentJson(R"("port": 1161)"));
  ASSERT_EQ(changes.size(), 1U);
  const common::Change& port = changes[0].children.at(0).children.at(0);
  EXPECT_EQ(port.tag, 0x009E8010U);
  EXPECT_EQ(port.ns, 0x11E87650U);
  EXPECT_FALSE(common::IsTouched(changes, kCommunity));
  EXPECT_TRUE(common::IsTouched(changes, "/confd_dyncfg:confdConfig/snmpAgent/port"));
}

}  // namespace
}  // namespace host_test
