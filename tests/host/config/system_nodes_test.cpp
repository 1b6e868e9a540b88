// What the system wrote: kept when an operator's file replaces the configuration, and guarded.
#include "config/system_nodes.h"

#include <gmock/gmock.h>

#include "recorder.h"

namespace host::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::ThrowsMessage;

class SystemNodesTest : public ::testing::Test {
 protected:
  SystemNodesTest() {
    host_.hooks.action = FollowWithExtraEntries;
    host_.Replace(kOneRow);
  }

  void ExpectRefused(const std::string& row_leaves, const std::string& place) {
    const std::string before = host_.RunningText();
    EXPECT_THAT([&] { host_.Replace(Row(row_leaves)); },
                ThrowsMessage<std::runtime_error>(
                    AllOf(HasSubstr(folder_.Path("startup.json")), HasSubstr(place),
                          HasSubstr("only the system writes \"redir-port\""))));
    EXPECT_EQ(host_.RunningText(), before);
    EXPECT_THAT(host_.hooks.calls, IsEmpty());
  }

  static std::string Row(const std::string& leaves) {
    return R"({"snmp:snmp": {"agent": {"listen": {"interface": [{)" + leaves + "}]}}}}";
  }

  const std::string kOneRow = ListenJson({{"a1", 1}});
  TestFolder folder_;
  HookedEngine host_{folder_};
};

TEST_F(SystemNodesTest, SameFileAgainChangesNothing) {
  const std::string before = host_.RunningText();
  EXPECT_THAT(before, AllOf(HasSubstr("\"0.0.0.0:61000\""), HasSubstr("\"redir-port\": 61000"),
                            HasSubstr("written-by")));
  const host::CommitResult result = host_.Replace(kOneRow);
  EXPECT_FALSE(result.saved);
  EXPECT_FALSE(result.delivered);
  EXPECT_THAT(host_.hooks.calls, IsEmpty());
  EXPECT_EQ(host_.RunningText(), before);
}

TEST_F(SystemNodesTest, FileWithoutTheContainerChangesNothingEither) {
  const std::string before = host_.RunningText();
  host_.Replace(Row(R"("name": "a1", "udp-port": 1)"));
  EXPECT_EQ(host_.RunningText(), before);
}

TEST_F(SystemNodesTest, GoWithTheirEntry) {
  EXPECT_TRUE(host_.Replace(ListenJson({{"b2", 2}})).delivered);
  EXPECT_THAT(host_.RunningText(), AllOf(HasSubstr("0.0.0.0:62000"), Not(HasSubstr("61000"))));
  host_.Replace("{}");
  EXPECT_THAT(host_.RunningText(), AllOf(Not(HasSubstr("62000")), Not(HasSubstr("written-by"))));
}

TEST_F(SystemNodesTest, SurviveARestart) {
  const std::string before = host_.RunningText();
  HookedEngine restarted(folder_);
  restarted.hooks.action = FollowWithExtraEntries;
  EXPECT_TRUE(restarted.engine.LoadStored().found);
  EXPECT_EQ(restarted.RunningText(), before);
  EXPECT_THAT(restarted.hooks.calls, IsEmpty());
  EXPECT_FALSE(restarted.Replace(kOneRow).saved);
  restarted.Replace("{}");
  EXPECT_THAT(restarted.RunningText(), Not(HasSubstr("61000")));
}

TEST_F(SystemNodesTest, EntryThatTheFileNamesIsTheOperators) {
  const std::string settings = R"("extraIpPorts": ["10.0.0.1:161", "0.0.0.0:61000"])";
  EXPECT_TRUE(host_.Replace(ListenJson({{"a1", 1}}, settings)).saved);
  EXPECT_THAT(host_.delivered, ElementsAre(HasSubstr("modified"), HasSubstr("10.0.0.1:161")));
  host_.Replace(kOneRow);
  EXPECT_THAT(host_.RunningText(),
              AllOf(Not(HasSubstr("0.0.0.0:61000")), HasSubstr("\"redir-port\": 61000")));
}

TEST_F(SystemNodesTest, WhatIsMarkedInAnOperatorsFileIsPassedOver) {
  const std::string settings = R"("extraIpPorts": ["10.0.0.1:161", "10.0.0.2:161"],)"
                               R"("@extraIpPorts": [{"snmp-app-platform:written-by": "system"}])";
  host_.Replace(ListenJson({{"a1", 1}}, settings));
  EXPECT_THAT(host_.RunningText(), AllOf(Not(HasSubstr("10.0.0.1:161")), HasSubstr("10.0.0.2")));
}

TEST_F(SystemNodesTest, WhatASystemStoredIsTakenByItAndByAnother) {
  const std::string stored = host_.RunningText();
  EXPECT_FALSE(host_.Replace(stored).saved);
  TestFolder other_folder;
  HookedEngine other(other_folder);
  other.hooks.action = FollowWithExtraEntries;
  other.Replace(ListenJson({{"b2", 2}}));
  EXPECT_TRUE(other.Replace(stored).delivered);
  EXPECT_THAT(other.RunningText(), AllOf(HasSubstr("61000"), Not(HasSubstr("62000"))));
}

TEST_F(SystemNodesTest, DeletedByAnEditTheyComeBack) {
  host::Tree candidate = host_.engine.CopyRunning();
  lyd_node* port = nullptr;
  ASSERT_EQ(lyd_find_path(candidate.get(),
                          "/snmp:snmp/agent/listen/interface[name='a1']/redir-port", 0, &port),
            LY_SUCCESS);
  lyd_free_tree(port);
  EXPECT_FALSE(host_.engine.Commit(std::move(candidate)).saved);
  EXPECT_THAT(host_.RunningText(), HasSubstr("\"redir-port\": 61000"));
}

TEST_F(SystemNodesTest, OtherRedirectPortIsRefused) {
  ExpectRefused(R"("name": "a1", "udp-port": 1, "redir-port": 61001)",
                "interface[name='a1']/redir-port");
}

TEST_F(SystemNodesTest, RedirectPortOfANewRowIsRefused) {
  ExpectRefused(R"("name": "c3", "udp-port": 1, "redir-port": 61000)",
                "interface[name='c3']/redir-port");
}

TEST_F(SystemNodesTest, RedirectPortInForceIsAcceptedAndStaysTheSystems) {
  host_.Replace(Row(R"("name": "a1", "udp-port": 1, "redir-port": 61000)"));
  EXPECT_THAT(host_.hooks.calls, IsEmpty());
  host_.Replace(kOneRow);
  EXPECT_THAT(host_.RunningText(), HasSubstr("\"redir-port\": 61000"));
}

}  // namespace
}  // namespace host::test
