// Two daemons' worth of state in one process: neither sees anything of the other.
#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "confd_maapi.h"
#include "framework/framework.h"
#include "snmp/agent_calls.h"
#include "support.h"
#include "vkconfd/cdb_session.h"
#include "vkos/context.h"
#include "vkos/timer.h"

namespace host::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kPort[] = "/confd_dyncfg:confdConfig/snmpAgent/port";

/// An agent that does all that it is told at once, since a process can have one real agent only.
class ObedientAgent : public host::AgentCalls {
 public:
  std::vector<host::ListenerFailure> SetListeners(const std::set<host::Endpoint>& wanted) override {
    listeners = wanted;
    return {};
  }
  void Follow(const host::AgentSettings& wanted) override { settings = wanted; }
  void SetMark(uint16_t /*port*/, uint32_t /*mark*/) override {}
  std::set<host::Endpoint> Listeners() override { return listeners; }
  void Share(bool on) override { shares = on; }
  std::string WhyNot(const host::Endpoint& /*endpoint*/) override { return ""; }
  host::AgentFacts Facts() override { return {listeners, {}, {}, 0}; }
  void Wait() override { ++waits; }

  std::set<host::Endpoint> listeners;
  host::AgentSettings settings;
  bool shares = false;
  int waits = 0;
};

/// Shares its addresses, and has no memory to end that.
class SharingAgent : public ObedientAgent {
 public:
  void Share(bool on) override {
    if (!on) throw std::bad_alloc();
  }
};

class ListenHandler : public vkconfd::DataHandler {
 public:
  ListenHandler() : DataHandler(false, false, false, false, false, false, false) {}
  std::vector<Callpoint*>& GetCallpoints() override { return points_; }

 private:
  class Point : public Callpoint {
   public:
    const char* GetCallpointName() override { return "listen"; }
  };

  Point point_;
  std::vector<Callpoint*> points_ = {&point_};
};

/// Reads the agent's port by the calls of platform/api whenever it is told of something.
class PortHandler : public vkconfd::ConfigHandler {
 public:
  void LoadInitialConfig(int cdb_socket) override { Note("loads", cdb_socket); }
  void ApplyInitialConfig() override {}
  void StartCommit() override {}
  void ApplyCommitConfig() override {
    const VkConfdCdbSession before(confd_interface_, CDB_PRE_COMMIT_RUNNING, true);
    Note("had", before.Socket());
    const VkConfdCdbSession now(confd_interface_, CDB_RUNNING, true);
    Note("has", now.Socket());
  }
  void ConfdDisconnected() override {
    const VkConfdCdbSession last(confd_interface_, CDB_RUNNING, true);
    Note("ends with", last.Socket());
  }
  const std::vector<vkconfd::SubscriptionPoint>& GetSubscriptionPoints() const override {
    return points_;
  }

  std::vector<std::string> notes;

 private:
  void Note(const std::string& what, int socket) {
    uint16_t port = 0;
    const int code = cdb_get_u_int16(socket, &port, "%s", kPort);
    notes.push_back(what + " " + (code == CONFD_OK ? std::to_string(port) : confd_lasterr()));
  }

  std::vector<vkconfd::SubscriptionPoint> points_ = {
      {1, 0, kPort, 0, [](confd_hkeypath_t*, confd_iter_op, confd_value_t*, confd_value_t*) {
         return ITER_CONTINUE;
       }}};
};

class Daemon {
 public:
  Daemon(int port, const std::string& community, std::vector<std::string>* notes_at_end)
      : notes_at_end_(notes_at_end) {
    Configure(port, community);
    framework_ = std::make_unique<host::Framework>(
        process, agent,
        host::Folders{folder_.Path(), folder_.Path(), MODELS_FOLDER, "", folder_.Path()},
        std::vector<vkconfd::ConfigHandler*>{&handler},
        std::vector<vkconfd::DataHandler*>{&listen_handler_});
    process.reload = [this] { framework_->Reload(); };
    framework_->Connect(ELEM_CONFD_PHASE_2);
  }
  ~Daemon() {
    framework_.reset();
    if (notes_at_end_ != nullptr) *notes_at_end_ = handler.notes;
  }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;

  void Configure(int port, const std::string& community) const {
    std::string json =
        AgentJson(R"("enabled": true, "ip": "127.0.0.1", "port": )" + std::to_string(port));
    json.pop_back();
    const std::string rows =
        CommunityJson(R"({"snmpCommunityIndex": "1", "snmpCommunityName": ")" + community +
                      R"(", "snmpCommunitySecurityName": "public"})");
    folder_.Write("startup.json", json + ", " + rows.substr(1));
  }

  int Rebind() {
    const host::ProcessScope scope(process);
    return maapi_rebind_listener(framework_->MaapiSocket(), CONFD_LISTENER_SNMP);
  }

 private:
  static constexpr vkmw_process_signature_t kSignature = {"two-frameworks"};
  static constexpr vkos::Context::HaStateChangeCallbacks kNoCallbacks = {};

  TestFolder folder_;
  ListenHandler listen_handler_;
  vkos::Context context_{&kSignature, &kNoCallbacks};
  std::vector<std::string>* notes_at_end_;
  std::unique_ptr<host::Framework> framework_;

 public:
  host::Process& process = context_.GetVkmw()->process;
  ObedientAgent agent;
  PortHandler handler;
};

class TwoFrameworks : public ::testing::Test {
 protected:
  std::vector<std::string> first_notes_;
  std::vector<std::string> second_notes_;
  std::unique_ptr<Daemon> first_ = std::make_unique<Daemon>(1161, "one", &first_notes_);
  std::unique_ptr<Daemon> second_ = std::make_unique<Daemon>(2161, "two", &second_notes_);
};

TEST_F(TwoFrameworks, HaveConfigurationsOfTheirOwn) {
  EXPECT_THAT(first_->handler.notes, ElementsAre("loads 1161"));
  EXPECT_THAT(second_->handler.notes, ElementsAre("loads 2161"));
  EXPECT_THAT(first_->agent.settings.communities, ElementsAre("one"));
  EXPECT_THAT(second_->agent.settings.communities, ElementsAre("two"));
}

TEST_F(TwoFrameworks, RebindTheirOwnAgents) {
  EXPECT_EQ(first_->Rebind(), CONFD_OK);
  EXPECT_THAT(first_->agent.listeners, ElementsAre(host::Endpoint{"127.0.0.1", 1161}));
  EXPECT_THAT(second_->agent.listeners, IsEmpty());
  EXPECT_EQ(second_->Rebind(), CONFD_OK);
  EXPECT_THAT(second_->agent.listeners, ElementsAre(host::Endpoint{"127.0.0.1", 2161}));
}

TEST_F(TwoFrameworks, CommitOfOneReachesItsHandlersAlone) {
  first_->Configure(1162, "one");
  first_->process.Reload();
  EXPECT_THAT(first_->handler.notes, ElementsAre("loads 1161", "had 1161", "has 1162"));
  EXPECT_THAT(second_->handler.notes, ElementsAre("loads 2161"));
}

TEST_F(TwoFrameworks, RefusalOfOneIsItsFaultAlone) {
  first_->Configure(99999, "one");
  first_->process.Reload();
  ASSERT_EQ(first_->process.faults.size(), 1U);
  EXPECT_THAT(first_->process.faults[0].text, HasSubstr("start-up configuration refused"));
  EXPECT_THAT(second_->process.faults, IsEmpty());
}

TEST_F(TwoFrameworks, WatchTheirOwnAgents) {
  const int before = second_->agent.waits;
  const int first_before = first_->agent.waits;
  second_->process.watchdog_check();
  EXPECT_EQ(second_->agent.waits, before + 1);
  EXPECT_EQ(first_->agent.waits, first_before);
}

TEST_F(TwoFrameworks, EitherMayEndFirst) {
  first_.reset();
  EXPECT_THAT(first_notes_, ElementsAre("loads 1161", "ends with 1161"));
  EXPECT_EQ(second_->Rebind(), CONFD_OK);
  second_.reset();
  EXPECT_THAT(second_notes_, ElementsAre("loads 2161", "ends with 2161"));
  EXPECT_EQ(maapi_rebind_listener(1, CONFD_LISTENER_SNMP), CONFD_ERR);
  EXPECT_EQ(confd_errno, CONFD_ERR_NOSESSION);
}

TEST_F(TwoFrameworks, TheOlderOneServesAfterTheNewerOne) {
  second_.reset();
  EXPECT_EQ(maapi_rebind_listener(1, CONFD_LISTENER_SNMP), CONFD_OK);
  EXPECT_THAT(first_->agent.listeners, ElementsAre(host::Endpoint{"127.0.0.1", 1161}));
}

/// Sees whether two agents' addresses can be probed while a timer's callback runs.
class Probe : public vkos::Callback {
 public:
  Probe(const ObedientAgent& first, const ObedientAgent& second) : first_(first), second_(second) {}
  bool Execute() override {
    seen = std::string(first_.shares ? "first " : "") + (second_.shares ? "second " : "") + "fired";
    return true;
  }

  std::string seen;

 private:
  const ObedientAgent& first_;
  const ObedientAgent& second_;
};

/// The window in which addresses can be probed is that of the timer's own process.
TEST_F(TwoFrameworks, TimersOfOneProbeItsAgent) {
  constexpr vkmw_sig_t kSignal = {"two-frameworks"};
  Probe probe(first_->agent, second_->agent);
  const host::ProcessScope scope(first_->process);
  const vkos::Timer timer(&kSignal, 1, probe, false);
  EXPECT_EQ(first_->process.timers->facts.running, 1);
  EXPECT_EQ(second_->process.timers->facts.running, 0);
  while (probe.seen.empty() && first_->process.loop.run_one_for(std::chrono::seconds(20)) == 1) {
  }
  EXPECT_EQ(probe.seen, "first fired");
}

TEST(ProbeWindowDeathTest, OneThatCannotBeClosedEndsTheProcess) {
  SharingAgent agent;
  const auto open_and_close = [&agent] { const host::ProbeWindow window(agent); };
  EXPECT_EXIT(open_and_close(), ::testing::ExitedWithCode(1),
              "stay open to others: std::bad_alloc");
}

}  // namespace
}  // namespace host::test
