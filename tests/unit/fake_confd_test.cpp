// The fake device's ConfD calls and framework.

#include <stdexcept>

#include "confd_cdb.h"
#include "confd_maapi.h"
#include "device_test.h"
#include "fake_device.h"
#include "recording_handler.h"
#include "vkconfd/app_interface.h"
#include "vkconfd/cdb_session.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FakeConfdTest : public DeviceTest {
 protected:
  FakeConfdTest() { device_.confd.running.Set("/a/port", common::MakeUint16(161)); }

  /// The value at a path, or the error of its read.
  std::string Get(int socket, const char* path) const {
    confd_value_t value = common::MakeUint16(7);
    if (cdb_get(socket, &value, "%s", path) == CONFD_OK) {
      return common::ValueText(common::OwnedValue(value).Value());
    }
    EXPECT_EQ(7, value.val.u16) << "touched by a failed read";
    return "error " + std::to_string(confd_errno) + " " + confd_lasterr();
  }

  fake::ConfdInterface& interface_ = device_.confd.interface;
};

TEST_F(FakeConfdTest, ReadsInASession) {
  const VkConfdCdbSession session(&interface_, CDB_RUNNING, true);
  EXPECT_EQ("161", Get(session.Socket(), "/m:a/port"));
  EXPECT_EQ("error 1 /a/none has no value", Get(session.Socket(), "/a/none"));
  EXPECT_EQ("error 1 /a has no value", Get(session.Socket(), "/a"));
  EXPECT_EQ("error 5 path \"a\": '/' is missing at position 0", Get(session.Socket(), "a"));
}

TEST_F(FakeConfdTest, CountsEntries) {
  device_.confd.running.AddEntry("/rows", {{"name", common::MakeBuf("r")}});
  const VkConfdCdbSession session(&interface_, CDB_RUNNING, true);
  EXPECT_EQ(1, cdb_num_instances(session.Socket(), "/%s", "rows"));
  EXPECT_EQ(0, cdb_num_instances(session.Socket(), "/none/rows"));
  EXPECT_EQ(CONFD_ERR, cdb_num_instances(session.Socket(), "rows"));
  EXPECT_EQ(CONFD_ERR_BADPATH, confd_errno);
}

TEST_F(FakeConfdTest, SocketWithoutSessionReadsNothing) {
  int socket = 5;
  EXPECT_EQ("error 27 no session on socket 5", Get(socket, "/a/port"));
  {
    const VkConfdCdbSession session(&interface_, CDB_RUNNING, true);
    socket = session.Socket();
  }
  EXPECT_EQ("error 27 no session on socket " + std::to_string(socket), Get(socket, "/a/port"));
}

TEST_F(FakeConfdTest, RefusesTheNextCallOnce) {
  device_.confd.RefuseNext("cdb_get /a/port", CONFD_ERR_EXTERNAL, "not now");
  const VkConfdCdbSession session(&interface_, CDB_RUNNING, true);
  EXPECT_EQ("error 1 /a/other has no value", Get(session.Socket(), "/a/other"));
  EXPECT_EQ("error 19 not now", Get(session.Socket(), "/a/port"));
  EXPECT_EQ("161", Get(session.Socket(), "/a/port"));
}

TEST_F(FakeConfdTest, SessionsAreCountedAndRefused) {
  { const VkConfdCdbSession session(&interface_, CDB_RUNNING, true); }
  EXPECT_EQ(1, device_.confd.opened_sessions);
  EXPECT_EQ(1, device_.confd.closed_sessions);
  EXPECT_THROW(VkConfdCdbSession(nullptr, CDB_RUNNING, true), std::runtime_error);
  EXPECT_THROW(VkConfdCdbSession(&interface_, CDB_PRE_COMMIT_RUNNING, true), std::runtime_error);
  device_.confd.RefuseNext("session open", CONFD_ERR_EXTERNAL, "gone");
  EXPECT_THROW(VkConfdCdbSession(&interface_, CDB_RUNNING, true), std::runtime_error);
  EXPECT_EQ(1, device_.confd.opened_sessions);
}

TEST_F(FakeConfdTest, SessionsAreRecordedWithTheirFlag) {
  const VkConfdCdbSession first(&interface_, CDB_RUNNING, true);
  const VkConfdCdbSession second(&interface_, CDB_RUNNING, false);
  ASSERT_EQ(2U, device_.confd.sessions.size());
  EXPECT_EQ(first.Socket(), device_.confd.sessions[0].socket);
  EXPECT_TRUE(device_.confd.sessions[0].flag);
  EXPECT_EQ(second.Socket(), device_.confd.sessions[1].socket);
  EXPECT_EQ(CDB_RUNNING, device_.confd.sessions[1].database);
  EXPECT_FALSE(device_.confd.sessions[1].flag);
  device_.confd.sessions.clear();
}

TEST_F(FakeConfdTest, RebindsAreRecordedAlsoWhenTheyFail) {
  EXPECT_EQ(CONFD_OK, maapi_rebind_listener(interface_.MaapiSocket(), CONFD_LISTENER_SNMP));
  EXPECT_EQ(CONFD_ERR, maapi_rebind_listener(3, CONFD_LISTENER_SNMP));
  EXPECT_EQ(CONFD_ERR_NOSESSION, confd_errno);
  EXPECT_EQ(CONFD_ERR, maapi_rebind_listener(interface_.MaapiSocket(), 99));
  EXPECT_EQ(CONFD_ERR_EXTERNAL, confd_errno);
  EXPECT_EQ(3U, device_.confd.rebinds.size());
}

TEST_F(FakeConfdTest, PrettyPrintsAreCounted) {
  const confd_value_t value = common::MakeUint16(1);
  const confd_hkeypath_t kp = {};
  char text[4];
  EXPECT_EQ(1, confd_pp_value(text, sizeof text, &value));
  EXPECT_EQ(0, confd_pp_kpath(text, sizeof text, &kp));
  EXPECT_EQ(1, device_.confd.printed_values);
  EXPECT_EQ(1, device_.confd.printed_key_paths);
}

class FakeFrameworkTest : public FakeConfdTest {
 protected:
  FakeFrameworkTest() { handler_.Follow("/a/port", 1, ITER_WANT_PREV, ITER_CONTINUE); }

  std::unique_ptr<vkconfd::AppInterface> MakeApp() {
    return std::make_unique<vkconfd::AppInterface>(
        nullptr, nullptr, "app", std::vector<vkconfd::ConfigHandler*>{&handler_},
        std::vector<vkconfd::ActionHandler*>{}, std::vector<vkconfd::DataHandler*>{},
        ELEM_CONFD_PHASE_2, 0);
  }

  static void ChangePort(fake::Database& edit) { edit.Set("/a/port", common::MakeUint16(162)); }

  std::vector<std::string> calls_;
  RecordingHandler handler_{"h", &calls_};
};

TEST_F(FakeFrameworkTest, ServerRunConnectsLoadsAndAppliesBeforeTheScript) {
  const auto app = MakeApp();
  device_.process.script = [this] { calls_.emplace_back("script"); };
  vkos::the_context->GetServer().Run();
  EXPECT_THAT(calls_, ElementsAre("h connected 2", "h load", "h apply initial", "script"));
  EXPECT_TRUE(handler_.IsConnected());
}

TEST_F(FakeFrameworkTest, EndOfTheApplicationDisconnects) {
  auto app = MakeApp();
  device_.framework.Connect();
  calls_.clear();
  app.reset();
  EXPECT_THAT(calls_, ElementsAre("h disconnected"));
  EXPECT_FALSE(handler_.IsConnected());
  EXPECT_FALSE(device_.framework.HasApp());
}

TEST_F(FakeFrameworkTest, CommitIsDeliveredWithTheConfigurationFromBeforeReadable) {
  const auto app = MakeApp();
  std::vector<std::string> ports;
  handler_.on_call = [&](const std::string&) {
    const VkConfdCdbSession before(&interface_, CDB_PRE_COMMIT_RUNNING, true);
    const VkConfdCdbSession now(&interface_, CDB_RUNNING, true);
    ports.push_back(Get(before.Socket(), "/a/port") + " " + Get(now.Socket(), "/a/port"));
  };
  device_.framework.Commit(ChangePort);
  EXPECT_THAT(calls_, ElementsAre("h start", "h set /a/port from 161 to 162", "h apply"));
  EXPECT_THAT(ports, ElementsAre("161 162", "161 162", "161 162"));
  EXPECT_FALSE(device_.confd.pre_commit.has_value());
}

TEST_F(FakeFrameworkTest, CommitWithoutAnApplicationOnlyChangesTheConfiguration) {
  device_.framework.Commit(ChangePort);
  EXPECT_THAT(calls_, IsEmpty());
  const VkConfdCdbSession session(&interface_, CDB_RUNNING, true);
  EXPECT_EQ("162", Get(session.Socket(), "/a/port"));
}

TEST_F(FakeFrameworkTest, ExceptionOfAHandlerBecomesAFault) {
  const auto app = MakeApp();
  handler_.on_call = [](const std::string& what) {
    if (what == "apply") throw std::runtime_error("cannot");
  };
  device_.framework.Commit(ChangePort);
  ASSERT_EQ(1U, device_.middleware.faults.size());
  EXPECT_EQ("apply of commit at /a/port: cannot", device_.middleware.faults[0].text);
}

}  // namespace
