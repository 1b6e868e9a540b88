// What a callpoint is told within a transaction, and in which order.

#include "confd_maapi.h"
#include "recording_data_handler.h"

namespace contract {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A data handler without a callpoint.
class BesideHandler : public vkconfd::DataHandler {
 public:
  explicit BesideHandler(Journal* journal)
      : DataHandler(false, false, false, false, false, false, false), journal_(journal) {}
  int TransactionInit(confd_trans_ctx* /*tctx*/) override {
    journal_->emplace_back("beside init");
    return answer;
  }
  int TransactionFinish(confd_trans_ctx* /*tctx*/) override {
    journal_->emplace_back("beside finish");
    return CONFD_OK;
  }
  std::vector<Callpoint*>& GetCallpoints() override { return callpoints_; }

  int answer = CONFD_OK;

 private:
  Journal* journal_;
  std::vector<Callpoint*> callpoints_;
};

/// Listens at "kept" and "old" at first.
class CallpointTest : public ContractTest {
 protected:
  static Configuration Listening(const std::vector<contract::Listening>& rows) {
    Configuration configuration;
    configuration.listening = rows;
    return configuration;
  }

  void Start() { ContractTest::Start(Listening({{"kept", 1}, {"old", 9}}), {&handler_}, {&data_}); }

  /// Has the handler write a redirect port when it is told of `note`.
  void WriteAt(const std::string& note, const std::string& entry, const std::string& port) {
    writes_.push_back({note, entry, port});
    data_.on_call = [this](const std::string& told, confd_trans_ctx* tctx) {
      for (const Write& write : writes_) {
        if (told != write.note) continue;
        EXPECT_EQ(
            maapi_set_elem2(SocketOf(tctx), tctx->thandle, write.port.c_str(),
                            "/snmp/agent/listen/interface{%s}/redir-port", write.entry.c_str()),
            CONFD_OK);
      }
      return static_cast<int>(CONFD_OK);
    };
  }

  /// Has the handler refuse when it is told of `note`.
  void RefuseAt(const std::string& note) {
    data_.on_call = [note](const std::string& told, confd_trans_ctx* /*tctx*/) {
      return static_cast<int>(told == note ? CONFD_ERR : CONFD_OK);
    };
  }

  struct Write {
    std::string note;
    std::string entry;
    std::string port;
  };

  std::vector<Write> writes_;
  RecordingDataHandler data_{&journal_};
};

TEST_F(CallpointTest, RemovedThenCreatedThenOtherEntries) {
  Start();
  EXPECT_TRUE(platform_->Commit(Listening({{"kept", 2}, {"new", 3}})));
  EXPECT_THAT(journal_, ElementsAre("init", "remove interface{old}", "create interface{new}",
                                    "set interface{new}/udp-port = 3",
                                    "set interface{kept}/udp-port = 2", "finish"));
}

TEST_F(CallpointTest, EntriesAreCreatedOneByOneWithTheirLeaves) {
  Start();
  EXPECT_TRUE(platform_->Commit(Listening({{"kept", 1}, {"old", 9}, {"x", 3}, {"y", 4}})));
  EXPECT_THAT(journal_,
              ElementsAre("init", "create interface{x}", "set interface{x}/udp-port = 3",
                          "create interface{y}", "set interface{y}/udp-port = 4", "finish"));
}

TEST_F(CallpointTest, OwnWriteIsToldBehindTheCallThatMadeIt) {
  Start();
  WriteAt("remove interface{old}", "kept", "5");
  WriteAt("create interface{new}", "new", "7");
  EXPECT_TRUE(platform_->Commit(Listening({{"kept", 2}, {"new", 3}})));
  EXPECT_THAT(
      journal_,
      ElementsAre("init", "remove interface{old}", "set interface{kept}/redir-port = 5",
                  "create interface{new}", "set interface{new}/redir-port = 7",
                  "set interface{new}/udp-port = 3", "set interface{kept}/udp-port = 2", "finish"));
}

TEST_F(CallpointTest, OwnWritesAreToldInTheirOrder) {
  Start();
  WriteAt("create interface{new}", "new", "7");
  WriteAt("create interface{new}", "kept", "5");
  WriteAt("set interface{new}/redir-port = 7", "old", "8");
  EXPECT_TRUE(platform_->Commit(Listening({{"kept", 1}, {"new", 3}, {"old", 9}})));
  EXPECT_THAT(journal_,
              ElementsAre("init", "create interface{new}", "set interface{new}/redir-port = 7",
                          "set interface{kept}/redir-port = 5", "set interface{old}/redir-port = 8",
                          "set interface{new}/udp-port = 3", "finish"));
}

TEST_F(CallpointTest, OwnWriteOfTheValueThatIsThereIsToldToo) {
  Start();
  WriteAt("create interface{new}", "new", "7");
  WriteAt("set interface{new}/udp-port = 3", "new", "7");
  EXPECT_TRUE(platform_->Commit(Listening({{"kept", 1}, {"new", 3}, {"old", 9}})));
  EXPECT_THAT(journal_,
              ElementsAre("init", "create interface{new}", "set interface{new}/redir-port = 7",
                          "set interface{new}/udp-port = 3", "set interface{new}/redir-port = 7",
                          "finish"));
}

TEST_F(CallpointTest, OwnDeletionsAreToldOfEntriesOnly) {
  Start();
  data_.on_call = [](const std::string& note, confd_trans_ctx* tctx) {
    if (note != "create interface{new}") return static_cast<int>(CONFD_OK);
    const int socket = SocketOf(tctx);
    const std::string list = "/snmp/agent/listen/interface";
    for (const std::string& leaf : {list + "{new}/redir-port"}) {
      EXPECT_EQ(maapi_set_elem2(socket, tctx->thandle, "7", "%s", leaf.c_str()), CONFD_OK);
      EXPECT_EQ(maapi_delete(socket, tctx->thandle, "%s", leaf.c_str()), CONFD_OK);
    }
    EXPECT_EQ(maapi_delete(socket, tctx->thandle, "%s{old}", list.c_str()), CONFD_OK);
    return static_cast<int>(CONFD_OK);
  };
  EXPECT_TRUE(platform_->Commit(Listening({{"kept", 1}, {"new", 3}, {"old", 9}})));
  EXPECT_THAT(journal_,
              ElementsAre("init", "create interface{new}", "set interface{new}/redir-port = 7",
                          "remove interface{old}", "set interface{new}/udp-port = 3", "finish"));
}

TEST_F(CallpointTest, WritesAreInForceAfterTheTransaction) {
  Start();
  WriteAt("create interface{new}", "new", "7");
  EXPECT_TRUE(platform_->Commit(Listening({{"kept", 1}, {"new", 3}, {"old", 9}})));
  EXPECT_EQ(Read(CDB_RUNNING, "/snmp/agent/listen/interface{new}/redir-port"), "7");
}

TEST_F(CallpointTest, AllCallsHaveTheContextOfTheOneTransaction) {
  Start();
  std::vector<int> handles;
  data_.on_call = [&](const std::string& note, confd_trans_ctx* tctx) {
    EXPECT_EQ(static_cast<VkConfdInterface*>(tctx->dx->d_opaque), data_.Interface()) << note;
    handles.push_back(tctx->thandle);
    return static_cast<int>(CONFD_OK);
  };
  EXPECT_TRUE(platform_->Commit(Listening({{"new", 3}})));
  ASSERT_EQ(handles.size(), 6U);
  EXPECT_THAT(handles, testing::Each(handles[0]));
}

TEST_F(CallpointTest, RefusedTransactionChangesNothing) {
  Start();
  for (const char* note :
       {"remove interface{old}", "create interface{new}", "set interface{new}/udp-port = 3"}) {
    journal_.clear();
    RefuseAt(note);
    EXPECT_FALSE(platform_->Commit(Listening({{"kept", 1}, {"new", 3}}))) << note;
    EXPECT_EQ(journal_[journal_.size() - 2], note) << "nothing is told after the refusal";
    EXPECT_EQ(journal_.back(), "finish");
    EXPECT_EQ(Read(CDB_RUNNING, "/snmp/agent/listen/interface{old}/udp-port"), "9");
    EXPECT_EQ(Read(CDB_RUNNING, "/snmp/agent/listen/interface{new}/udp-port"), "error 1");
  }
}

TEST_F(CallpointTest, ExceptionRefusesTheTransaction) {
  Start();
  data_.on_call = [](const std::string& note, confd_trans_ctx* /*tctx*/) -> int {
    if (note == "create interface{new}") throw std::runtime_error("cannot");
    return CONFD_OK;
  };
  EXPECT_FALSE(platform_->Commit(Listening({{"kept", 1}, {"new", 3}, {"old", 9}})));
  EXPECT_THAT(journal_, ElementsAre("init", "create interface{new}", "finish"));
  EXPECT_EQ(Read(CDB_RUNNING, "/snmp/agent/listen/interface{new}/udp-port"), "error 1");
}

TEST_F(CallpointTest, RefusedWriteIsARefusedTransaction) {
  Start();
  data_.on_call = [](const std::string& note, confd_trans_ctx* tctx) {
    if (note == "create interface{new}") {
      maapi_set_elem2(SocketOf(tctx), tctx->thandle, "7",
                      "/snmp/agent/listen/interface{new}/redir-port");
    }
    return static_cast<int>(note == "set interface{new}/redir-port = 7" ? CONFD_ERR : CONFD_OK);
  };
  EXPECT_FALSE(platform_->Commit(Listening({{"kept", 2}, {"new", 3}, {"old", 9}})));
  EXPECT_THAT(journal_, ElementsAre("init", "create interface{new}",
                                    "set interface{new}/redir-port = 7", "finish"));
}

TEST_F(CallpointTest, TransactionWithoutAChangeBelowTheCallpointIsNotTold) {
  Start();
  Configuration other = Listening({{"kept", 1}, {"old", 9}});
  other.port = 2162;
  EXPECT_TRUE(platform_->Commit(other));
  EXPECT_THAT(journal_, IsEmpty());
}

TEST_F(CallpointTest, RefusedBeginningEndsTheHandlersThatHadBegun) {
  BesideHandler beside(&journal_);
  ContractTest::Start(Listening({}), {&handler_}, {&data_, &beside});
  beside.answer = CONFD_ERR;
  EXPECT_FALSE(platform_->Commit(Listening({{"new", 3}})));
  EXPECT_THAT(journal_, ElementsAre("init", "beside init", "finish"));
  EXPECT_EQ(Read(CDB_RUNNING, "/snmp/agent/listen/interface{new}/udp-port"), "error 1");
  platform_->Stop();
}

}  // namespace
}  // namespace contract
