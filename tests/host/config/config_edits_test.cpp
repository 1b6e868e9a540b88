// What changed, for programs.
#include "config/config_edits.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

#include "config/commit_record.h"
#include "recorder.h"
#include "support.h"

namespace host::test {
namespace {

using ::testing::ElementsAre;

class ConfigEditsTest : public ::testing::Test {
 protected:
  ConfigEditsTest() {
    host_.engine.SetCommitObserver([this](const host::CommitRecord& record) { record_ = record; });
  }

  /// "operation path" of each.
  std::vector<std::string> EditsBy(const std::string& json) {
    host_.engine.ReplaceByFile(folder_.Write("startup.json", json));
    std::vector<std::string> edits;
    for (const host::ConfigEdit& edit : record_.edits) {
      edits.push_back(std::string(edit.operation) + " " + edit.path);
    }
    return edits;
  }

  TestFolder folder_;
  HookedEngine host_{folder_};
  host::CommitRecord record_;
};

TEST_F(ConfigEditsTest, NameTheTopmostElements) {
  const std::string interface = "/snmp:snmp/agent/listen/interface[name='a1']";
  EXPECT_THAT(
      EditsBy(ListenJson({{"a1", 1}}, R"("port": 1161)")),
      ElementsAre("replace /confd_dyncfg:confdConfig/snmpAgent/port", "create " + interface));
  EXPECT_THAT(EditsBy(ListenJson({{"a1", 2}}, R"("port": 1161)")),
              ElementsAre("replace " + interface + "/udp-port"));
  EXPECT_THAT(EditsBy(AgentJson(R"("port": 1161)")), ElementsAre("delete " + interface));
}

TEST_F(ConfigEditsTest, KeepRowsOfCommunitiesSecret) {
  EXPECT_THAT(
      EditsBy(CommunityJson(CommunityRow("secret", "name") + "," + CommunityRow("other", "name"))),
      ElementsAre("merge /SNMP-COMMUNITY-MIB:SNMP-COMMUNITY-MIB/snmpCommunityTable"));
}

TEST_F(ConfigEditsTest, ManyAreToldByTheirTop) {
  std::vector<std::pair<std::string, int>> rows;
  for (size_t i = 0; i <= host::kMostEdits; ++i) rows.emplace_back("a" + std::to_string(i), 1);
  EXPECT_THAT(EditsBy(ListenJson(rows)), ElementsAre("merge /snmp:snmp"));
}

}  // namespace
}  // namespace host::test
