// What happens while a commit is delivered.
#include "delivery/delivery.h"

#include <gmock/gmock.h>

#include "config/engine.h"
#include "runtime/process.h"
#include "support.h"
#include "vkconfd/cdb_session.h"

namespace host::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

constexpr char kPort[] = "/confd_dyncfg:confdConfig/snmpAgent/port";

/// Follows two leaves and notes what it is told.
class Follower : public vkconfd::ConfigHandler {
 public:
  Follower() {
    const auto note = [this](confd_hkeypath_t* kp, confd_iter_op, confd_value_t*,
                             confd_value_t* new_value) {
      char path[128];
      char value[128];
      confd_pp_kpath(path, sizeof path, kp);
      confd_pp_value(value, sizeof value, new_value);
      calls_.push_back(std::string(path) + " " + value);
      return ITER_CONTINUE;
    };
    points_.push_back({20, 0, kPort, 0, note});
    points_.push_back({10, 0, "/confd_dyncfg:confdConfig/snmpAgent/extraIpPorts", 0, note});
  }

  void LoadInitialConfig(int) override {}
  void ApplyInitialConfig() override {}
  void StartCommit() override { calls_.emplace_back("start"); }
  void ApplyCommitConfig() override { calls_.emplace_back("apply"); }
  const std::vector<vkconfd::SubscriptionPoint>& GetSubscriptionPoints() const override {
    return points_;
  }

  std::vector<std::string> TakeCalls() { return std::exchange(calls_, {}); }

 private:
  std::vector<vkconfd::SubscriptionPoint> points_;
  std::vector<std::string> calls_;
};

class Connection : public VkConfdInterface {
 public:
  int MaapiSocket() override { return 0; }
};

class Delivery : public ::testing::Test {
 protected:
  Delivery() { process_.engine = &engine_; }

  host::CommitResult Replace(const std::string& settings) {
    return engine_.ReplaceByFile(folder_.Write("startup.json", AgentJson(settings)));
  }

  int ReadPort(cdb_db_type database) {
    const VkConfdCdbSession session(&connection_, database, true);
    return ReadPort(session.Socket());
  }

  static int ReadPort(int socket) {
    confd_value_t value = {};
    return cdb_get(socket, &value, kPort) == CONFD_OK ? CONFD_GET_UINT16(&value) : -1;
  }

  TestFolder folder_;
  Connection connection_;
  std::function<void(std::vector<common::Change>&)> deliver_ = [](auto&) {};
  host::Process process_;
  host::Engine engine_{MODELS_FOLDER, folder_.Path("running.json"),
                       [this](auto& changes) { deliver_(changes); }};
};

TEST_F(Delivery, HandlersAreToldInOrderOfPriority) {
  Follower follower;
  deliver_ = [&](auto& changes) {
    common::Deliver(changes, {&follower}, [](const std::string& what, const std::string& why) {
      FAIL() << what << ": " << why;
    });
  };
  Replace(R"("port": 1161, "extraIpPorts": ["10.0.0.1:161"])");
  EXPECT_THAT(follower.TakeCalls(),
              ElementsAre("start", "/confdConfig/snmpAgent/extraIpPorts [ 10.0.0.1:161 ]",
                          "/confdConfig/snmpAgent/port 1161", "apply"));
  Replace("");
  EXPECT_THAT(follower.TakeCalls(), ElementsAre("start", "/confdConfig/snmpAgent/extraIpPorts [ ]",
                                                "/confdConfig/snmpAgent/port 161", "apply"));
  Replace(R"("enabled": true)");
  EXPECT_THAT(follower.TakeCalls(), ElementsAre());
}

TEST_F(Delivery, BothConfigurationsAreReadable) {
  std::vector<int> ports;
  deliver_ = [&](auto&) {
    EXPECT_TRUE(engine_.IsDelivering());
    ports = {ReadPort(CDB_PRE_COMMIT_RUNNING), ReadPort(CDB_RUNNING)};
  };
  Replace(R"("port": 1161)");
  EXPECT_THAT(ports, ElementsAre(161, 1161));
  Replace(R"("port": 1162)");
  EXPECT_THAT(ports, ElementsAre(1161, 1162));
}

TEST_F(Delivery, ConfigurationBeforeACommitIsGoneAfterwards) {
  const auto open = [this] {
    const VkConfdCdbSession session(&connection_, CDB_PRE_COMMIT_RUNNING, true);
  };
  EXPECT_THAT(open, ThrowsMessage<std::runtime_error>(HasSubstr("during its delivery only")));
  Replace(R"("port": 1161)");
  EXPECT_FALSE(engine_.IsDelivering());
  EXPECT_THAT(open, ThrowsMessage<std::runtime_error>(HasSubstr("during its delivery only")));
}

TEST_F(Delivery, OpenSessionKeepsItsConfiguration) {
  const VkConfdCdbSession session(&connection_, CDB_RUNNING, true);
  Replace(R"("port": 1161)");
  EXPECT_EQ(ReadPort(session.Socket()), 161);
  EXPECT_EQ(ReadPort(CDB_RUNNING), 1161);
}

TEST_F(Delivery, AnotherCommitIsRefusedMeanwhile) {
  int refused = 0;
  deliver_ = [&](auto&) {
    const auto expect_refused = [&](auto operation) {
      EXPECT_THAT(operation, ThrowsMessage<std::runtime_error>(HasSubstr("being delivered")));
      ++refused;
    };
    expect_refused([this] { engine_.Commit(engine_.CopyRunning()); });
    expect_refused([this] { Replace(R"("port": 1162)"); });
    expect_refused([this] { engine_.LoadStored(); });
  };
  Replace(R"("port": 1161)");
  EXPECT_EQ(refused, 3);
  EXPECT_EQ(ReadPort(CDB_RUNNING), 1161);
}

TEST_F(Delivery, ExceptionLeavesTheCommitInForce) {
  deliver_ = [](auto&) { throw std::runtime_error("handler"); };
  EXPECT_THAT([this] { Replace(R"("port": 1161)"); },
              ThrowsMessage<std::runtime_error>(HasSubstr("handler")));
  EXPECT_FALSE(engine_.IsDelivering());
  EXPECT_EQ(ReadPort(CDB_RUNNING), 1161);
  deliver_ = [](auto&) {};
  EXPECT_TRUE(Replace(R"("port": 1162)").delivered);
}

}  // namespace
}  // namespace host::test
