// How the agent's listeners come and go.
#include <gtest/gtest.h>

#include "agent_fixture.h"

namespace host::test {
namespace {

using boost::asio::ip::udp;
using Endpoints = std::set<Endpoint>;

class AgentListenersTest : public AgentTest {
 protected:
  const uint16_t port_ = FreePort();
  const Endpoint a_ = {"127.0.0.1", port_};
  const Endpoint b_ = {"127.0.0.2", port_};
  const Endpoint nowhere_ = {"192.0.2.1", port_};
};

TEST_F(AgentListenersTest, NoneAtFirst) { EXPECT_TRUE(agent_->Listeners().empty()); }

TEST_F(AgentListenersTest, ComeAndGo) {
  EXPECT_TRUE(agent_->SetListeners({a_}).empty());
  EXPECT_TRUE(Ask(a_));
  EXPECT_TRUE(agent_->SetListeners({b_}).empty());
  EXPECT_EQ(agent_->Listeners(), Endpoints{b_});
  EXPECT_TRUE(Ask(b_));
  // The address is free again, for a socket that does not share it, too.
  udp::socket other(loop_, udp::v4());
  other.bind(ToUdp(a_));
}

TEST_F(AgentListenersTest, TextsOfOneAddressAreOneListener) {
  EXPECT_TRUE(agent_->SetListeners({{"::1", port_}, {"0::1", port_}}).empty());
  EXPECT_EQ(agent_->Listeners(), (Endpoints{{"::1", port_}}));
}

TEST_F(AgentListenersTest, FailureNamesTheListenerAndTheOthersServe) {
  const auto failures = agent_->SetListeners({a_, nowhere_, b_});
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0].endpoint, nowhere_);
  EXPECT_EQ(failures[0].reason, "Cannot assign requested address");
  EXPECT_EQ(agent_->Listeners(), (Endpoints{a_, b_}));
  EXPECT_TRUE(Ask(a_));
  EXPECT_TRUE(Ask(b_));
}

TEST_F(AgentListenersTest, FailedOneIsTriedAnew) {
  EXPECT_EQ(agent_->SetListeners({a_, nowhere_}).size(), 1U);
  EXPECT_EQ(agent_->SetListeners({a_, nowhere_}).size(), 1U);
  EXPECT_EQ(agent_->SetListeners({b_, nowhere_}).size(), 1U);
  EXPECT_TRUE(agent_->SetListeners({b_}).empty());
}

TEST_F(AgentListenersTest, AddressHeldByAnotherFailsUntilItIsFree) {
  udp::socket other(loop_, udp::v4());
  other.bind(ToUdp(a_));
  const auto failures = agent_->SetListeners({a_});
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0].reason, "Address already in use");
  other.close();
  EXPECT_TRUE(agent_->SetListeners({a_}).empty());
  EXPECT_TRUE(Ask(a_));
}

class AgentSharingTest : public AgentListenersTest {
 protected:
  /// Whether a probe of that address succeeds.
  bool Probe(const Endpoint& endpoint) {
    udp::socket probe(loop_, ToUdp(endpoint).protocol());
    probe.set_option(udp::socket::reuse_address(true));
    boost::system::error_code error;
    probe.bind(ToUdp(endpoint), error);
    return !error;
  }

  const Endpoint wildcard_ = {"0.0.0.0", port_};
};

TEST_F(AgentSharingTest, ProbeCanBeBoundBesideWhileItShares) {
  ASSERT_TRUE(agent_->SetListeners({a_, wildcard_}).empty());
  for (const bool shares : {false, true, false, true}) {
    if (shares) agent_->Share(true);
    for (const Endpoint& endpoint : {a_, b_, wildcard_}) EXPECT_EQ(Probe(endpoint), shares);
    if (shares) agent_->Share(false);
  }
  EXPECT_TRUE(Ask(a_)) << "after the probe";
}

TEST_F(AgentSharingTest, ListenersThatAreOpenedMeanwhileShareAsLong) {
  agent_->Share(true);
  ASSERT_TRUE(agent_->SetListeners({a_}).empty());
  EXPECT_TRUE(Probe(a_));
  agent_->Share(false);
  EXPECT_FALSE(Probe(a_));
}

TEST_F(AgentSharingTest, OwnListenersMayOverlapAndStillShareWithNobody) {
  ASSERT_TRUE(agent_->SetListeners({a_}).empty());
  ASSERT_TRUE(agent_->SetListeners({a_, wildcard_}).empty());
  ASSERT_TRUE(agent_->SetListeners({a_, wildcard_, b_}).empty());
  for (const Endpoint& endpoint : {a_, b_, wildcard_}) EXPECT_FALSE(Probe(endpoint));
  EXPECT_TRUE(Ask(a_));
  EXPECT_TRUE(Ask(b_));
}

TEST_F(AgentSharingTest, NoListenerBesideASharingSocketOfAnother) {
  udp::socket other(loop_, udp::v4());
  other.set_option(udp::socket::reuse_address(true));
  other.bind(ToUdp(a_));
  ASSERT_EQ(agent_->SetListeners({a_, b_}).size(), 1U);
  agent_->Share(true);
  EXPECT_EQ(agent_->SetListeners({a_, b_}).size(), 1U) << "while a probe is possible, too";
  EXPECT_EQ(agent_->WhyNot(a_), "Address already in use");
  other.close();
  EXPECT_EQ(agent_->WhyNot(a_), "");
  EXPECT_TRUE(agent_->SetListeners({a_, b_}).empty());
}

TEST_F(AgentSharingTest, WhyNotLeavesEverythingAsItIs) {
  ASSERT_TRUE(agent_->SetListeners({wildcard_}).empty());
  EXPECT_EQ(agent_->WhyNot(a_), "");
  EXPECT_EQ(agent_->WhyNot(nowhere_), "Cannot assign requested address");
  EXPECT_EQ(agent_->Listeners(), Endpoints{wildcard_});
  EXPECT_FALSE(Probe(a_));
  EXPECT_TRUE(Ask(a_));
}

TEST_F(AgentListenersTest, WildcardsAnswerFromTheAddressAsked) {
  ASSERT_TRUE(agent_->SetListeners({{"0.0.0.0", port_}, {"::", port_}}).empty());
  // A client hears only the address that it asks.
  EXPECT_TRUE(Ask(a_));
  EXPECT_TRUE(Ask(b_));
  EXPECT_TRUE(Ask({"127.1.2.3", port_}));
  EXPECT_TRUE(Ask({"::1", port_}));
}

TEST_F(AgentListenersTest, QueuedRequestsAreAnsweredBeforeTheListenerGoes) {
  constexpr int kRequests = 200;
  ASSERT_TRUE(agent_->SetListeners({a_}).empty());
  Client client(a_);
  SendMany(client, kRequests);
  EXPECT_TRUE(agent_->SetListeners({b_}).empty());
  EXPECT_EQ(CountAnswers(client), kRequests);
}

// The loop learns of two requests at once. One is served, the other's call waits in the loop.
class AgentWithQueuedCallTest : public AgentListenersTest {
 protected:
  AgentWithQueuedCallTest() {
    EXPECT_TRUE(agent_->SetListeners({a_, b_}).empty());
    first_.Send(Message());
    second_.Send(Message());
    loop_.restart();
    EXPECT_EQ(loop_.run_one_for(kDeadline), 1U);
  }

  Client first_{a_};
  Client second_{b_};
};

TEST_F(AgentWithQueuedCallTest, RequestIsAnsweredOnce) {
  ASSERT_TRUE(agent_->SetListeners({}).empty());
  loop_.poll();
  EXPECT_EQ(CountAnswers(first_), 1);
  EXPECT_EQ(CountAnswers(second_), 1);
}

TEST_F(AgentWithQueuedCallTest, AgentMayGo) {
  agent_.reset();
  loop_.poll();
  EXPECT_EQ(CountAnswers(first_) + CountAnswers(second_), 1);
}

TEST_F(AgentListenersTest, BusyListenerLeavesTurnsToOthers) {
  ASSERT_TRUE(agent_->SetListeners({a_, b_}).empty());
  Client busy(a_);
  Client quiet(b_);
  SendMany(busy, 200);
  quiet.Send(Message());
  int answered = 0;
  ASSERT_TRUE(RunUntil([&] {
    answered += CountAnswers(busy);
    return quiet.TakeAnswer().has_value();
  }));
  EXPECT_LT(answered, 200);
  ASSERT_TRUE(RunUntil([&] { return (answered += CountAnswers(busy)) >= 200; }));
  EXPECT_EQ(answered, 200);
}

}  // namespace
}  // namespace host::test
