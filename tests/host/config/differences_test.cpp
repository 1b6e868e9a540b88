#include "config/differences.h"

#include <gmock/gmock.h>

#include "support.h"

namespace host::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

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

/// The changes below L3 interfaces when one has these IPv6 addresses, by number.
std::vector<std::string> AddressLines(const std::string& old_order, const std::string& new_order) {
  const auto json = [](const std::string& order) {
    std::string entries;
    for (const char index : order) {
      const std::string number(1, index);
      entries += (entries.empty() ? "" : ",") + (R"({"index": )" + number) +
                 R"(, "ip": "2001:db8::)" + number + R"(/64"})";
    }
    return R"({"config:config": {"interface": {"l3": [{"name": "e", "ipv6": {"address": [)" +
           entries + "]}}]}}}";
  };
  std::vector<common::Change> changes = DeviceChanges(json(old_order), json(new_order));
  return Describe(changes, "/config/interface/l3");
}

TEST(Differences, EntryOfAUserOrderedListThatHasMovedIsModified) {
  const std::string list = "modified /config/interface/l3{e}/ipv6/address";
  const auto interface_and = [](std::vector<std::string> entries) {
    entries.insert(entries.begin(), {"modified /config/interface/l3{e}  -> ",
                                     "modified /config/interface/l3{e}/ipv6  -> "});
    return entries;
  };
  EXPECT_THAT(AddressLines("123", "123"), IsEmpty());
  EXPECT_EQ(AddressLines("123", "312"), interface_and({list + "{3}  -> "}));
  EXPECT_EQ(AddressLines("123", "213"), interface_and({list + "{2}  -> "}));
  EXPECT_EQ(AddressLines("12", "21"), interface_and({list + "{2}  -> "}));
}

TEST(Differences, EntriesThatComeAndGoMoveNoOther) {
  for (const auto& [before, now] : std::vector<std::pair<std::string, std::string>>{
           {"123", "23"}, {"123", "13"}, {"23", "123"}, {"123", "42"}, {"", "21"}, {"21", ""}}) {
    EXPECT_THAT(AddressLines(before, now),
                Not(Contains(HasSubstr("modified /config/interface/l3{e}/ipv6/"))))
        << before << " to " << now;
  }
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
}  // namespace host::test
