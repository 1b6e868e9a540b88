// What the framework makes of the configuration: registered callpoints and the agent's listeners.
#include <gmock/gmock.h>

#include "framework/agent_settings.h"
#include "framework/callpoints.h"
#include "recorder.h"
#include "vkconfd/cdb_session.h"

namespace host::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

class Connection : public VkConfdInterface {
 public:
  int MaapiSocket() override { return 0; }
};

class Handler : public vkconfd::DataHandler {
 public:
  explicit Handler(const char* name, int init_result = CONFD_OK)
      : DataHandler(false, false, false, false, false, false, false),
        point_(name),
        init_result_(init_result) {}

  int TransactionInit(confd_trans_ctx* tctx) override {
    opaque = tctx->dx->d_opaque;
    ++inits;
    return init_result_;
  }
  int TransactionFinish(confd_trans_ctx* /*tctx*/) override { return ++finishes; }
  std::vector<Callpoint*>& GetCallpoints() override { return points_; }

  void* opaque = nullptr;
  int inits = 0;
  int finishes = 0;

 private:
  class Point : public Callpoint {
   public:
    explicit Point(const char* name) : name_(name) {}
    const char* GetCallpointName() override { return name_; }

   private:
    const char* name_;
  };

  Point point_;
  int init_result_;
  std::vector<Callpoint*> points_ = {&point_};
};

TEST(Callpoints, MustBeThoseOfTheModels) {
  Connection connection;
  Handler listen("listen");
  Handler other("other");
  const auto check = [&](const std::vector<vkconfd::DataHandler*>& handlers) {
    host::Callpoints(handlers, &connection).CheckAgainst(DeviceModels());
  };
  EXPECT_NO_THROW(check({&listen}));
  EXPECT_THAT([&] { check({}); }, ThrowsMessage<std::runtime_error>(
                                      HasSubstr("nobody has registered callpoint \"listen\"")));
  EXPECT_THAT(
      [&] {
        check({&listen, &other});
      },
      ThrowsMessage<std::runtime_error>(HasSubstr("registered callpoint \"other\"")));
  EXPECT_THAT(
      [&] {
        check({&listen, &listen});
      },
      ThrowsMessage<std::runtime_error>(HasSubstr("registered twice")));
}

TEST(Callpoints, HandlersThatHaveBegunEndWhenOneRefuses) {
  Connection connection;
  Handler one("one");
  Handler two("two", CONFD_ERR);
  host::Callpoints callpoints({&one, &two}, &connection);
  host::Transaction transaction(DeviceModels(), 1, Read(DeviceModels(), "{}"));
  EXPECT_EQ(callpoints.Begin(&transaction), CONFD_ERR);
  EXPECT_EQ(static_cast<VkConfdInterface*>(one.opaque), &connection);
  EXPECT_EQ(one.finishes, 1);
  EXPECT_EQ(two.inits, 1);
  EXPECT_EQ(two.finishes, 0);
}

TEST(AgentListeners, RedirectsEndAtTheIpv6WildcardAsWell) {
  const TestFolder folder;
  HookedEngine host(folder);
  host.hooks.action = FollowWithExtraEntries;
  host.Replace(ListenJson({{"a1", 1}}, R"("enabled": true, "port": 1161, "ip": "10.0.0.1",)"
                                       R"("extraIpPorts": ["0.0.0.0:162", "10.0.0.2:61000"])"));
  Connection connection;
  const VkConfdCdbSession session(&connection, CDB_RUNNING, true);
  EXPECT_THAT(host::ReadAgentListeners(session.Socket()),
              ElementsAre(host::Endpoint{"0.0.0.0", 162}, host::Endpoint{"0.0.0.0", 61000},
                          host::Endpoint{"10.0.0.1", 1161}, host::Endpoint{"10.0.0.2", 61000},
                          host::Endpoint{"::", 61000}));
}

}  // namespace
}  // namespace host::test
