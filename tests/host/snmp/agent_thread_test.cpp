// The agent on its own thread.
#include "snmp/agent_thread.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/udp.hpp>
#include <csignal>
#include <optional>
#include <set>

#include "client.h"

namespace host::test {
namespace {

constexpr int kDeadlineMs = 20000;

class AgentThreadTest : public ::testing::Test {
 protected:
  AgentThreadTest() { agent_.Follow({{"public"}}); }

  /// Nothing but the agent's own thread runs meanwhile: this one waits in the system.
  static std::optional<Response> Ask(const Endpoint& server) {
    Client client(server);
    client.Send(Message{});
    return client.WaitForAnswer(kDeadlineMs);
  }

  AgentThread agent_{{}};
  const Endpoint endpoint_ = {"127.0.0.1", FreePort()};
};

TEST_F(AgentThreadTest, AnswersWhileTheCallersThreadWaits) {
  EXPECT_TRUE(agent_.SetListeners({endpoint_}).empty());
  EXPECT_EQ(agent_.Listeners(), std::set<Endpoint>{endpoint_});
  EXPECT_TRUE(Ask(endpoint_));
}

TEST_F(AgentThreadTest, FailuresReachTheCaller) {
  const Endpoint nowhere = {"192.0.2.77", FreePort()};
  const auto failures = agent_.SetListeners({endpoint_, nowhere});
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures.front().endpoint, nowhere);
  EXPECT_EQ(failures.front().reason, "Cannot assign requested address");
  EXPECT_TRUE(Ask(endpoint_));
}

TEST_F(AgentThreadTest, MarksAreSetWhenWaitReturns) {
  const Endpoint wildcard = {"0.0.0.0", FreePort()};
  EXPECT_TRUE(agent_.SetListeners({wildcard}).empty());
  agent_.SetMark(wildcard.port, 7);
  agent_.SetMark(wildcard.port, 0);
  agent_.Wait();
  EXPECT_TRUE(Ask({"127.0.0.1", wildcard.port}));
}

TEST(AgentThreadEnd, ClosesTheListeners) {
  const Endpoint endpoint = {"127.0.0.1", FreePort()};
  {
    AgentThread agent({});
    EXPECT_TRUE(agent.SetListeners({endpoint}).empty());
  }
  boost::asio::io_context loop;
  EXPECT_NO_THROW(boost::asio::ip::udp::socket(loop, ToUdp(endpoint))) << "it is held still";
}

std::atomic<pthread_t> signalled;

TEST_F(AgentThreadTest, SignalsGoToTheCallersThread) {
  struct sigaction before = {};
  struct sigaction note = {};
  note.sa_handler = [](int) { signalled = pthread_self(); };
  ASSERT_EQ(sigaction(SIGUSR2, &note, &before), 0);
  // While this thread takes none either, one is pending for the process, taken by nobody.
  sigset_t only;
  sigset_t mask;
  sigemptyset(&only);
  sigaddset(&only, SIGUSR2);
  ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &only, &mask), 0);
  ASSERT_EQ(kill(getpid(), SIGUSR2), 0);
  agent_.Wait();
  EXPECT_EQ(signalled.load(), pthread_t());
  ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &mask, nullptr), 0);
  EXPECT_EQ(signalled.load(), pthread_self());
  sigaction(SIGUSR2, &before, nullptr);
}

}  // namespace
}  // namespace host::test
