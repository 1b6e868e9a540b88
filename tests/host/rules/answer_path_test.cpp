// A manager behind an interface whose routes are in a table of their own.
#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <memory>
#include <optional>

#include "client.h"
#include "network.h"
#include "rules/rules.h"
#include "snmp/agent.h"

namespace host::test {
namespace {

constexpr std::chrono::seconds kDeadline(20);
constexpr uint32_t kTable = 100;
constexpr uint16_t kPort = 60600;

class AnswerPathTest : public NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    if (IsSkipped()) return;
    manager_ = std::make_unique<Network>(Network::Current());
    ASSERT_EQ(EnterNewNetwork(), "");
    router_ = std::make_unique<Network>(Network::Current());
    ConnectThem();
    agent_ = std::make_unique<SnmpAgent>(loop_);
    rules_.emplace();
    agent_->Follow({{"public"}});
    ASSERT_TRUE(agent_->SetListeners({{"0.0.0.0", kPort}, {"::", kPort}}).empty());
  }

  /// The router's eth1 has its routes in kTable only.
  void ConnectThem() {
    EXPECT_EQ(Output("ip link add eth1 type veth peer name man0 netns " + manager_->Path() +
                     " && ip link set lo up && ip link set eth1 up"
                     " && ip addr add 10.9.1.1/24 dev eth1 noprefixroute"
                     " && ip addr add fd09::1/64 dev eth1 nodad noprefixroute"
                     " && ip route add 10.9.1.0/24 dev eth1 table 100"
                     " && ip -6 route add fd09::/64 dev eth1 table 100"
                     " && ip rule add iif eth1 lookup 100 priority 1100"
                     " && ip -6 rule add iif eth1 lookup 100 priority 1100"),
              "");
    manager_->Enter();
    EXPECT_EQ(Output("ip link set man0 up && ip addr add 10.9.1.2/24 dev man0"
                     " && ip addr add fd09::2/64 dev man0 nodad"),
              "");
    router_->Enter();
  }

  /// A socket of the manager's.
  std::unique_ptr<Client> Manager(const Endpoint& server) {
    manager_->Enter();
    auto client = std::make_unique<Client>(server);
    router_->Enter();
    return client;
  }

  /// Runs the loop until the client has an answer; its number, 0 when none comes.
  int AnswerTo(Client& client) {
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    for (;;) {
      const std::optional<Response> answer = client.TakeAnswer();
      if (answer) return answer->id;
      if (!RunOne(deadline)) return client.WaitForAnswer(1000) ? -1 : 0;
    }
  }

  /// False when nothing came until the deadline.
  bool RunOne(std::chrono::steady_clock::time_point deadline) {
    loop_.restart();
    return loop_.run_one_until(std::min(deadline, std::chrono::steady_clock::now() + kStep)) > 0 ||
           std::chrono::steady_clock::now() < deadline;
  }

  /// Runs the loop until the agent has taken one request.
  bool TakeOne() {
    loop_.restart();
    return loop_.run_one_for(kDeadline) > 0;
  }

  /// A request that the agent takes without a mark is not answered; the next one, with it, is.
  void ExpectAnswerWithMarkOnly(const char* address) {
    const auto client = Manager({address, 161});
    ASSERT_TRUE(rules_->AddRedirect("eth1", 161, kPort, kTable));
    client->Send({"public", Operation::kGet, kSysDescr, 1});
    ASSERT_TRUE(TakeOne()) << "the request was not redirected";
    rules_->SetMarkObserver([this](uint16_t port, uint32_t mark) { agent_->SetMark(port, mark); });
    client->Send({"public", Operation::kGet, kSysDescr, 2});
    EXPECT_EQ(AnswerTo(*client), 2);
  }

  /// How long an answer that left may be on its way before the loop looks again.
  static constexpr std::chrono::milliseconds kStep{20};

  std::unique_ptr<Network> manager_;
  std::unique_ptr<Network> router_;
  boost::asio::io_context loop_;
  std::unique_ptr<SnmpAgent> agent_;
  std::optional<Rules> rules_;
};

/// The manager's socket is connected: it hears what comes from the address and port asked only.
TEST_F(AnswerPathTest, Ipv4IsAnsweredWithTheMarkOnly) { ExpectAnswerWithMarkOnly("10.9.1.1"); }

TEST_F(AnswerPathTest, Ipv6IsAnsweredWithTheMarkOnly) { ExpectAnswerWithMarkOnly("fd09::1"); }

TEST_F(AnswerPathTest, OneRedirectServesBoth) {
  rules_->SetMarkObserver([this](uint16_t port, uint32_t mark) { agent_->SetMark(port, mark); });
  ASSERT_TRUE(rules_->AddRedirect("eth1", 161, kPort, kTable));
  for (const char* address : {"10.9.1.1", "fd09::1"}) {
    const auto client = Manager({address, 161});
    client->Send({"public", Operation::kGet, kSysDescr, 5});
    EXPECT_EQ(AnswerTo(*client), 5) << address;
  }
}

}  // namespace
}  // namespace host::test
