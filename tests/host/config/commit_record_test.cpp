// What is told of a commit.
#include "config/commit_record.h"

#include <gmock/gmock.h>

#include "recorder.h"
#include "support.h"

namespace host::test {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::SizeIs;

class CommitRecordTest : public ::testing::Test {
 protected:
  CommitRecordTest() {
    host_.engine.SetCommitObserver(
        [this](const host::CommitRecord& record) { records_.push_back(record); });
  }

  host::CommitResult Replace(const std::string& json) {
    return host_.engine.ReplaceByFile(folder_.Write("startup.json", json),
                                      {"anna", 7, "edit-config"});
  }

  TestFolder folder_;
  HookedEngine host_{folder_};
  std::vector<host::CommitRecord> records_;
};

TEST(WithoutSecrets, LeavesKeysOfCommunitiesOut) {
  const std::string row = "/m:SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry";
  EXPECT_EQ(host::WithoutSecrets(row + "[snmpCommunityIndex='hush']/x: wrong"),
            row + "[...]/x: wrong");
  EXPECT_EQ(host::WithoutSecrets(row + "[i='a]b'][j=\"c'd\"]: no; " + row + "[i='e']"),
            row + "[...]: no; " + row + "[...]");
  EXPECT_EQ(host::WithoutSecrets(row + "[i='cut off"), row + "[...]");
  EXPECT_EQ(host::WithoutSecrets("/snmp/target[name='noc']: " + row),
            "/snmp/target[name='noc']: " + row);
}

TEST_F(CommitRecordTest, TellsWhoChangedWhat) {
  Replace(ListenJson({{"a1", 1}}, R"("port": 1161)"));
  ASSERT_THAT(records_, SizeIs(1));
  EXPECT_EQ(records_[0].author.user, "anna");
  EXPECT_EQ(records_[0].refusal, "");
  EXPECT_EQ(records_[0].changes,
            "set /confdConfig/snmpAgent/port, created /snmp/agent/listen/interface{a1}");
}

TEST_F(CommitRecordTest, TellsOfOneThatChangesNoValue) {
  Replace("{}");
  ASSERT_THAT(records_, SizeIs(1));
  EXPECT_THAT(host::RecordText(records_[0]), EndsWith(" ms: no value changed"));
}

TEST_F(CommitRecordTest, TellsOfRefusedOnes) {
  EXPECT_ANY_THROW(Replace(R"({"confd_dyncfg:confdConfig": {"snmpAgent": {"port": 0}}})"));
  EXPECT_ANY_THROW(Replace("nonsense"));
  ASSERT_THAT(records_, SizeIs(2));
  EXPECT_THAT(records_[0].refusal, HasSubstr("port"));
  EXPECT_EQ(records_[0].changes, "");
  EXPECT_THAT(host::RecordText(records_[1]), HasSubstr(" refused in "));
}

TEST_F(CommitRecordTest, CountsWhatItDoesNotTell) {
  std::vector<std::pair<std::string, int>> rows;
  for (int i = 0; i < 18; ++i) rows.emplace_back("a" + std::to_string(i), 1);
  Replace(ListenJson(rows));
  EXPECT_THAT(records_[0].changes, HasSubstr("interface{a15} and 2 more"));
}

TEST(RecordTextTest, IsOneLineForEachAuthor) {
  host::CommitRecord record;
  record.author = {"anna", 7, "commit"};
  record.duration = std::chrono::milliseconds(12);
  record.changes = "set /a";
  EXPECT_EQ(host::RecordText(record), "Commit by anna (session 7, commit) in 12 ms: set /a");
  record.author = {"", 0, "reload"};
  record.refusal = "no";
  EXPECT_EQ(host::RecordText(record), "Commit by the system (reload) refused in 12 ms: no");
}

}  // namespace
}  // namespace host::test
