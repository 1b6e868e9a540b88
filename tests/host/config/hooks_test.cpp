// Hooks within a commit: what they are told and in which order, and how they refuse.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "confd_maapi.h"
#include "recorder.h"

namespace host::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

class HooksTest : public ::testing::Test {
 protected:
  void ExpectRefused(const std::string& json, const std::string& reason) {
    const std::string before = host_.RunningText();
    const std::string saved = host::ReadFile(folder_.Path("running.json"));
    EXPECT_THAT([&] { host_.Replace(json); }, ThrowsMessage<std::runtime_error>(HasSubstr(reason)));
    EXPECT_EQ(host_.RunningText(), before);
    EXPECT_EQ(host::ReadFile(folder_.Path("running.json")), saved);
    EXPECT_THAT(host_.delivered, IsEmpty());
  }

  TestFolder folder_;
  HookedEngine host_{folder_};
};

TEST_F(HooksTest, RemovedThenCreatedWithTheirLeavesThenSet) {
  host_.Replace(ListenJson({{"stays", 1}, {"goes", 2}, {"moves", 3}}));
  host_.Replace(ListenJson({{"moves", 4}, {"new", 5}, {"stays", 1}, {"newer", 6}}));
  EXPECT_THAT(
      host_.hooks.calls,
      ElementsAre("begin", "removed " + ListenPath("goes"), "created " + ListenPath("new"),
                  "set " + ListenPath("new") + "/udp-port = 5", "created " + ListenPath("newer"),
                  "set " + ListenPath("newer") + "/udp-port = 6",
                  "set " + ListenPath("moves") + "/udp-port = 4", "end"));
}

TEST_F(HooksTest, NothingIsCalledForOtherChanges) {
  host_.Replace(ListenJson({{"a1", 1}}));
  host_.Replace(ListenJson({{"a1", 1}}, R"("port": 1161)"));
  EXPECT_THAT(host_.hooks.calls, IsEmpty());
  EXPECT_THAT(host_.delivered, ElementsAre(HasSubstr("modified"), HasSubstr("161 -> 1161")));
}

TEST_F(HooksTest, OwnWritesBelowTheCallpointAreCallsBehindTheOneThatWrote) {
  host_.hooks.action = FollowWithExtraEntries;
  host_.Replace(ListenJson({{"a1", 1}}));
  EXPECT_THAT(host_.hooks.calls, ElementsAre("begin", "created " + ListenPath("a1"),
                                             "set " + ListenPath("a1") + "/redir-port = 61000",
                                             "set " + ListenPath("a1") + "/udp-port = 1", "end"));
  EXPECT_THAT(host_.delivered,
              ElementsAre(HasSubstr("modified"), HasSubstr("[ ] -> [ 0.0.0.0:61000 ]")));
}

TEST_F(HooksTest, RefusalChangesNothing) {
  host_.Replace(ListenJson({{"a1", 1}}));
  host_.hooks.action = [](int handle, const host::HookCall& call) {
    EXPECT_EQ(FollowWithExtraEntries(handle, call), CONFD_OK);
    return call.kind == host::HookKind::kSet ? CONFD_ERR : CONFD_OK;
  };
  ExpectRefused(ListenJson({{"a1", 1}, {"b2", 2}}), "callpoint \"listen\" refuses");
  EXPECT_EQ(host_.hooks.calls.back(), "end");
}

TEST_F(HooksTest, ExceptionChangesNothing) {
  host_.Replace(ListenJson({{"a1", 1}}));
  host_.hooks.action = [](int handle, const host::HookCall& call) -> int {
    EXPECT_EQ(FollowWithExtraEntries(handle, call), CONFD_OK);
    throw std::runtime_error("out of ports");
  };
  ExpectRefused(ListenJson({{"a1", 1}, {"b2", 2}}), "out of ports");
  EXPECT_EQ(host_.hooks.calls.back(), "end");
  host_.hooks.action = nullptr;
  EXPECT_TRUE(host_.Replace(ListenJson({{"a1", 1}, {"b2", 2}})).saved);
}

TEST_F(HooksTest, HandlerThatRefusesToBegin) {
  host_.Replace(ListenJson({{"a1", 1}}));
  host_.hooks.begin_result = CONFD_ERR;
  ExpectRefused(ListenJson({}), "refuses to begin");
  EXPECT_THAT(host_.hooks.calls, ElementsAre("begin"));
}

TEST_F(HooksTest, InvalidInputReachesNoHook) {
  host_.Replace(ListenJson({{"a1", 1}}));
  ExpectRefused(ListenJson({{"a1", 1}, {"l3-none", 2}}), "no L3 interface has the rest");
  EXPECT_THAT(host_.hooks.calls, IsEmpty());
}

TEST_F(HooksTest, WhatHooksWriteIsValidatedToo) {
  host_.Replace(ListenJson({{"a1", 1}}));
  host_.hooks.action = [](int handle, const host::HookCall& call) {
    return call.kind == host::HookKind::kCreated
               ? maapi_delete(1, handle, "%s/udp-port", ListenPath(NameOf(call)).c_str())
               : CONFD_OK;
  };
  ExpectRefused(ListenJson({{"a1", 1}, {"b2", 2}}), "Mandatory node \"udp-port\"");
}

TEST_F(HooksTest, CommitWithinAHookIsRefused) {
  host_.hooks.action = [this](int, const host::HookCall&) {
    EXPECT_THAT([this] { host_.engine.Commit(host_.engine.CopyRunning()); },
                ThrowsMessage<std::runtime_error>(HasSubstr("hooks are called")));
    return CONFD_OK;
  };
  EXPECT_TRUE(host_.Replace(ListenJson({{"a1", 1}})).saved);
  EXPECT_EQ(host_.hooks.calls.size(), 4U);
}

TEST_F(HooksTest, ProcessThatEndsInAHookLeavesTheStoredFile) {
  host_.Replace(ListenJson({{"a1", 1}}));
  const std::string saved = host::ReadFile(folder_.Path("running.json"));
  const pid_t child = fork();
  if (child == 0) {
    host_.hooks.action = [](int handle, const host::HookCall& call) -> int {
      FollowWithExtraEntries(handle, call);
      _exit(7);
    };
    host_.Replace(ListenJson({{"b2", 2}}));
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 7);
  EXPECT_EQ(host::ReadFile(folder_.Path("running.json")), saved);
  EXPECT_THAT(folder_.Names(), ElementsAre("running.json", "startup.json"));
}

}  // namespace
}  // namespace host::test
