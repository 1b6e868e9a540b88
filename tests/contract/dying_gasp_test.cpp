// The program's handler of trap targets as a framework drives it.

#include <string>
#include <vector>

#include "app/snmp_cfg_dying_gasp.h"
#include "contract_test.h"

namespace contract {
namespace {

using testing::ElementsAreArray;
using testing::IsEmpty;

using Lines = std::vector<std::string>;

Lines operator+(Lines lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
  return lines;
}

class DyingGaspTest : public ContractTest {
 protected:
  void SetUp() override {
#ifdef HAVE_ZLOG
    GTEST_SKIP() << "records go where the configuration of zlog says";
#endif
  }

  /// Starts with the handler alone and forgets what the start logged.
  void StartWith(const Configuration& configuration) {
    platform_->WatchLog();
    Start(configuration, {&gasp_});
    Log();
  }

  Lines Log() { return platform_->TakeLog("snmp-app-dying-gasp"); }

  /// What one commit to `configuration` logs.
  Lines LogOf(const Configuration& configuration) {
    platform_->Commit(configuration);
    return Log();
  }

  static std::string Line(const std::string& function, int level, const std::string& text) {
    return "src/app/snmp_cfg_dying_gasp " + function + " " + std::to_string(level) + " " + text;
  }

  static Configuration Enabled(const std::vector<Target>& targets,
                               const std::vector<std::string>& communities = {"public"}) {
    return {true, "127.0.0.1", 2161, {}, communities, targets};
  }

  /// What a commit logs before the first gathering.
  static Lines Begin(const std::string& key_path, int op, const std::string& value = "") {
    Lines lines = {
        Line("StartCommit", 10, "Starting commit of SNMP configuration for dying-gap traps."),
        Line("HandleCfg", 10, "Called kp " + key_path + ", op " + std::to_string(op))};
    if (!value.empty()) lines.push_back(Line("HandleCfg", 10, "New value: " + value));
    return lines;
  }

  /// What a gathering logs: the communities that it finds, and the targets with the community that
  /// each of them gets.
  static Lines Gathering(const Lines& communities,
                         const std::vector<std::pair<Target, std::string>>& targets) {
    Lines lines = {Line("GetCommunities", 10,
                        "Getting " + std::to_string(communities.size()) + " SNMP communities")};
    for (const std::string& name : communities) {
      lines.push_back(Line("GetCommunities", 10, "Got SNMP community [" + name + "] " + name));
    }
    lines.push_back(
        Line("GetTargets", 10, "Getting " + std::to_string(targets.size()) + " SNMP targets"));
    for (const auto& [target, community] : targets) {
      lines.push_back(Line("GetTargetEntry", 10, "key: " + target.name));
      lines.push_back(Line("GetTargets", 10,
                           "Added Target " + target.name + ", IP " + target.ip + ":" +
                               std::to_string(target.port) + ", community " + community +
                               ", sec_name " + target.sec_name));
    }
    return lines;
  }

  static Lines Gathered(const std::string& function, size_t count, const std::string& what) {
    return {Line(
        function, 11,
        "Gathered " + std::to_string(count) + " targets to be " + what + " dying-gasp driver")};
  }
  static Lines ToRemove(size_t count) { return Gathered("UpdateTargets", count, "removed from"); }
  static Lines ToAdd(size_t count) { return Gathered("UpdateTargets", count, "added into"); }

  static Lines Applied(const Lines& removed, const Lines& added) {
    Lines lines = {
        Line("ApplyCommitConfig", 10,
             "Updating targets of dying-gasp traps: cur=" + std::to_string(added.size()) +
                 ", rem=" + std::to_string(removed.size()))};
    for (const std::string& name : removed) {
      lines.push_back(Line("ApplyCommitConfig", 10, "Removed target " + name + ": ok"));
    }
    for (const std::string& name : added) {
      lines.push_back(Line("ApplyCommitConfig", 10, "Added target " + name + ": ok"));
    }
    return lines;
  }

  /// Expects that the platform raised no fault and every log line was as expected.
  void ExpectLog(const Lines& log, const Lines& expected) {
    EXPECT_THAT(log, ElementsAreArray(expected));
    EXPECT_THAT(platform_->FaultTexts(), IsEmpty());
  }

  static constexpr char kAddress[] = "/SNMP-TARGET-MIB/snmpTargetAddrTable/snmpTargetAddrEntry";
  static constexpr char kParameters[] =
      "/SNMP-TARGET-MIB/snmpTargetParamsTable/snmpTargetParamsEntry";
  static constexpr char kCommunity[] = "/SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry";
  static constexpr char kAgentEnabled[] = "/confdConfig/snmpAgent/enabled";

  DyingGaspTrapCfgHandler gasp_;
  const Target t1_ = {"t1"};
  const Target t2_ = {"t2", "10.0.0.6", 1162};
};

TEST_F(DyingGaspTest, StartInstallsEveryTarget) {
  platform_->WatchLog();
  Start(Enabled({t1_, t2_}), {&gasp_});
  ExpectLog(Log(), Lines{Line("LoadInitialConfig", 10, "Agent is enabled: 1"),
                         Line("LoadInitialConfig", 11,
                              "Loading SNMP target configuration for dying-gasp traps")} +
                       Gathering({"public"}, {{t1_, "public"}, {t2_, "public"}}) +
                       Applied({}, {"t1", "t2"}));
}

TEST_F(DyingGaspTest, StartWithADisabledAgentInstallsNothing) {
  platform_->WatchLog();
  Start({false, "127.0.0.1", 2161, {}, {"public"}, {t1_}}, {&gasp_});
  ExpectLog(Log(), {Line("LoadInitialConfig", 10, "Agent is enabled: 0")});
}

TEST_F(DyingGaspTest, ChangedPortWithdrawsTheOldTargetAndInstallsTheNewOne) {
  StartWith(Enabled({t1_}));
  Target changed = t1_;
  changed.port = 1162;
  ExpectLog(LogOf(Enabled({changed})), Begin(std::string(kAddress) + "{t1}", 3) +
                                           Gathering({"public"}, {{t1_, "public"}}) + ToRemove(1) +
                                           Gathering({"public"}, {{changed, "public"}}) + ToAdd(1) +
                                           Applied({"t1"}, {"t1"}));
}

TEST_F(DyingGaspTest, DeletedCommunityServesTheTargetsOfItsLastCommit) {
  StartWith(Enabled({t1_}));
  ExpectLog(LogOf(Enabled({t1_, t2_}, {})), Begin(std::string(kCommunity) + "{public}", 2) +
                                                Gathering({"public"}, {{t1_, "public"}}) +
                                                ToRemove(1) +
                                                Gathering({}, {{t1_, "public"}, {t2_, "public"}}) +
                                                ToAdd(2) + Applied({"t1"}, {"t1", "t2"}));
  ExpectLog(LogOf(Enabled({t1_}, {})), Begin(std::string(kParameters) + "{t2}", 2) +
                                           Gathering({}, {{t1_, ""}, {t2_, ""}}) + ToRemove(2) +
                                           Gathering({}, {{t1_, ""}}) + ToAdd(1) +
                                           Applied({"t1", "t2"}, {"t1"}));
}

TEST_F(DyingGaspTest, DisablingWithdrawsNothingUntilTheAgentIsEnabledAgain) {
  StartWith(Enabled({t1_}));
  Configuration disabled = Enabled({t1_});
  disabled.enabled = false;
  ExpectLog(LogOf(disabled), Begin(kAgentEnabled, 4, "false") +
                                 Gathering({"public"}, {{t1_, "public"}}) +
                                 Gathered("HandleCfg", 0, "removed from"));
  ExpectLog(LogOf(Enabled({t2_})),
            Begin(kAgentEnabled, 4, "true") + Gathering({"public"}, {{t2_, "public"}}) +
                Gathered("HandleCfg", 1, "added into") + Gathering({"public"}, {{t1_, "public"}}) +
                ToRemove(1) + Gathering({"public"}, {{t2_, "public"}}) + ToAdd(1) +
                Applied({"t1"}, {"t2"}));
}

TEST_F(DyingGaspTest, RemovalsLeftByDisablingAreAppliedWithTheNextGathering) {
  StartWith(Enabled({t1_}));
  Configuration disabled = Enabled({t1_});
  disabled.enabled = false;
  platform_->Commit(disabled);
  disabled.targets = {t2_};
  platform_->Commit(disabled);
  Log();
  const Lines log = LogOf(Enabled({t2_}));
  const Lines applied = Applied({"t1", "t2"}, {"t2"});
  ASSERT_GE(log.size(), applied.size());
  EXPECT_THAT(Lines(log.end() - static_cast<long>(applied.size()), log.end()),
              ElementsAreArray(applied));
}

TEST_F(DyingGaspTest, CommitThatTouchesNothingRelevantIsNotHeard) {
  StartWith(Enabled({t1_}));
  Configuration other = Enabled({t1_});
  other.vrfs = {{"red", 256}};
  other.extra = {"127.0.0.2:2162"};
  ExpectLog(LogOf(other), {});
  ExpectLog(LogOf(other), {});
}

TEST_F(DyingGaspTest, UnchangedTargetsAreWithdrawnAndInstalledAnew) {
  StartWith(Enabled({t1_, t2_}));
  const std::vector<std::pair<Target, std::string>> both = {{t1_, "public"}, {t2_, "public"}};
  ExpectLog(LogOf(Enabled({t1_, t2_}, {"public", "unused"})),
            Begin(std::string(kCommunity) + "{unused}", 1) + Gathering({"public"}, both) +
                ToRemove(2) + Gathering({"public", "unused"}, both) + ToAdd(2) +
                Applied({"t1", "t2"}, {"t1", "t2"}));
}

TEST_F(DyingGaspTest, TargetsThatCannotBeServedAreLeftOut) {
  Target version_3 = {"v3"};
  version_3.model = 3;
  platform_->WatchLog();
  Start(Enabled({{"v6", "2001:db8::1"}, version_3}), {&gasp_});
  const Lines log = Log();
  EXPECT_THAT(
      log, testing::Contains(Line("GetTargetEntry", 12, "Target address not valid, IP length 16")));
  EXPECT_THAT(log, testing::Contains(
                       Line("GetTargetEntry", 12, "Only SNMPv2 supported for dying-gasp trap")));
  EXPECT_EQ(log.back(), Applied({}, {})[0]);
}

}  // namespace
}  // namespace contract
