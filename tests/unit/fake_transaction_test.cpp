// The fake device's transactions: reads, writes, walks and the calls of callpoints.

#include "confd/value_text.h"
#include "confd_maapi.h"
#include "device_test.h"
#include "vkconfd/app_interface.h"

namespace {

using ::testing::ElementsAre;

constexpr int kSocket = fake::ConfdInterface::kMaapiSocket;
constexpr int kHandle = fake::Transaction::kHandle;

class FakeTransactionTest : public DeviceTest {
 protected:
  FakeTransactionTest() {
    device_.confd.running.Set("/a/port", common::MakeUint16(161));
    device_.confd.BeginTransaction();
  }
  ~FakeTransactionTest() override { device_.confd.EndTransaction(); }

  fake::Database& Candidate() { return device_.confd.transaction->candidate; }
};

TEST_F(FakeTransactionTest, ReadsTheCandidateByType) {
  Candidate().Set("/a/port", common::MakeUint16(162));
  Candidate().Set("/a/text", common::MakeBuf("0123456789"));
  uint16_t port = 0;
  char text[4] = "###";
  EXPECT_EQ(CONFD_OK, maapi_get_u_int16_elem(kSocket, kHandle, &port, "/a/%s", "port"));
  EXPECT_EQ(162, port);
  EXPECT_EQ(CONFD_OK, maapi_get_str_elem(kSocket, kHandle, text, sizeof text, "/a/text"));
  EXPECT_STREQ("012", text);
  EXPECT_EQ(CONFD_ERR, maapi_get_u_int16_elem(kSocket, kHandle, &port, "/a/text"));
  EXPECT_EQ(CONFD_ERR_BADTYPE, confd_errno);
  EXPECT_EQ(CONFD_ERR, maapi_get_u_int16_elem(kSocket, kHandle, &port, "/a/none"));
  EXPECT_EQ(CONFD_ERR_NOEXISTS, confd_errno);
  EXPECT_EQ(162, port);
}

TEST_F(FakeTransactionTest, OtherSocketOrHandleReachesNothing) {
  EXPECT_EQ(CONFD_ERR, maapi_create(3, kHandle, "/l{a}"));
  EXPECT_EQ(CONFD_ERR_NOSESSION, confd_errno);
  EXPECT_EQ(CONFD_ERR, maapi_create(kSocket, 3, "/l{a}"));
  EXPECT_STREQ("no transaction 3 on socket 701", confd_lasterr());
  EXPECT_EQ(nullptr, Candidate().Find("/l{a}"));
}

TEST_F(FakeTransactionTest, EntriesAreCreatedAndDeletedOnce) {
  for (const char* path : {"/x/list{a}", "/x/extraIpPorts{1.2.3.4:5}"}) {
    EXPECT_EQ(CONFD_OK, maapi_create(kSocket, kHandle, "%s", path));
    EXPECT_EQ(CONFD_ERR, maapi_create(kSocket, kHandle, "%s", path));
    EXPECT_EQ(CONFD_ERR_ALREADY_EXISTS, confd_errno);
    EXPECT_EQ(CONFD_OK, maapi_delete(kSocket, kHandle, "%s", path));
    EXPECT_EQ(CONFD_ERR, maapi_delete(kSocket, kHandle, "%s", path));
    EXPECT_EQ(CONFD_ERR_NOEXISTS, confd_errno);
  }
  EXPECT_EQ(C_LIST, Candidate().Find("/x/extraIpPorts")->value.Value().type);
}

TEST_F(FakeTransactionTest, LeafIsSetFromTextAsItsTypeIs) {
  EXPECT_EQ(CONFD_OK, maapi_set_elem2(kSocket, kHandle, "65535", "/a/port"));
  EXPECT_EQ(65535, Candidate().Find("/a/port")->value.Value().val.u16);
  EXPECT_EQ(CONFD_ERR, maapi_set_elem2(kSocket, kHandle, "65536", "/a/port"));
  EXPECT_EQ(CONFD_ERR_BADTYPE, confd_errno);
  EXPECT_EQ(CONFD_ERR, maapi_set_elem2(kSocket, kHandle, "1", "/none/port"));
  EXPECT_EQ(CONFD_ERR_NOEXISTS, confd_errno);
}

TEST_F(FakeTransactionTest, CursorGoesOverTheEntries) {
  for (const char* name : {"a", "b"}) Candidate().AddEntry("/l", {{"k", common::MakeBuf(name)}});
  maapi_cursor cursor = {};
  EXPECT_EQ(CONFD_OK, maapi_init_cursor(kSocket, kHandle, &cursor, "/l"));
  EXPECT_EQ(0, cursor.n);
  std::vector<std::string> keys;
  for (maapi_get_next(&cursor); cursor.n > 0; maapi_get_next(&cursor)) {
    keys.push_back(common::ValueText(cursor.keys[0]));
  }
  EXPECT_THAT(keys, ElementsAre("a", "b"));
  EXPECT_EQ(1, device_.confd.open_cursors);
  maapi_destroy_cursor(&cursor);
  EXPECT_EQ(0, device_.confd.open_cursors);
}

/// Writes down its calls, and sets a leaf of what is created.
class RecordingCallpoint : public vkconfd::DataHandler::Callpoint {
 public:
  const char* GetCallpointName() override { return "listen"; }
  int CreateCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath) override {
    const int answer = Call("create ", keypath);
    maapi_set_elem2(kSocket, tctx->thandle, "7", "%s/redir-port",
                    common::KeyPathText(*keypath).c_str());
    return answer;
  }
  int RemoveCallback(confd_trans_ctx* /*tctx*/, confd_hkeypath_t* keypath) override {
    return Call("remove ", keypath);
  }
  int SetElemCallback(confd_trans_ctx* /*tctx*/, confd_hkeypath_t* keypath,
                      confd_value_t* newval) override {
    return Call("set " + common::ValueText(*newval) + " ", keypath);
  }

  std::vector<std::string> calls;
  int result = CONFD_OK;

 private:
  int Call(const std::string& what, const confd_hkeypath_t* keypath) {
    calls.push_back(what + common::KeyPathText(*keypath).substr(sizeof "/snmp/agent/listen"));
    return result;
  }
};

class RecordingDataHandler : public vkconfd::DataHandler {
 public:
  RecordingDataHandler() : DataHandler(true, false, false, false, false, false, true) {}
  std::vector<Callpoint*>& GetCallpoints() override { return callpoints_; }
  RecordingCallpoint callpoint;

 private:
  std::vector<Callpoint*> callpoints_ = {&callpoint};
};

class FakeHooksTest : public DeviceTest {
 protected:
  FakeHooksTest() {
    for (const char* name : {"old", "kept"}) AddRow(device_.confd.running, name);
  }

  static void AddRow(fake::Database& database, const std::string& name) {
    database.AddEntry("/snmp/agent/listen/interface", {{"name", common::MakeBuf(name)}});
  }

  static void Edit(fake::Database& edit) {
    const std::string list = "/snmp/agent/listen/interface";
    edit.Set(list + "{kept}/udp-port", common::MakeUint16(1));
    AddRow(edit, "new");
    edit.Set(list + "{new}/udp-port", common::MakeUint16(2));
    edit.Delete(list + "{old}");
  }

  RecordingDataHandler handler_;
  vkconfd::AppInterface app_{nullptr, nullptr, "app", {}, {}, {&handler_}, ELEM_CONFD_PHASE_2, 0};
};

TEST_F(FakeHooksTest, CallsGoInOrderAndOwnWritesAreCallsToo) {
  EXPECT_TRUE(device_.framework.Transact(Edit));
  EXPECT_THAT(handler_.callpoint.calls,
              ElementsAre("remove interface{old}", "create interface{new}",
                          "set 7 interface{new}/redir-port", "set 2 interface{new}/udp-port",
                          "set 1 interface{kept}/udp-port"));
  EXPECT_EQ(2, device_.confd.running.Instances("/snmp/agent/listen/interface"));
  EXPECT_THAT(device_.Events("transaction"), ElementsAre("transaction init", "transaction finish"));
}

TEST_F(FakeHooksTest, RefusedTransactionChangesNothing) {
  handler_.callpoint.result = CONFD_ERR;
  EXPECT_FALSE(device_.framework.Transact(Edit));
  EXPECT_THAT(handler_.callpoint.calls, ElementsAre("remove interface{old}"));
  EXPECT_NE(nullptr, device_.confd.running.Find("/snmp/agent/listen/interface{old}"));
  EXPECT_EQ(nullptr, device_.confd.transaction);
}

TEST_F(FakeHooksTest, FlagsAreRecorded) {
  device_.journal.clear();
  const RecordingDataHandler handler;
  EXPECT_THAT(device_.journal, ElementsAre("data handler new 1000001"));
}

}  // namespace
