// Listeners that do not hear, and requests that are refused.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/steady_timer.hpp>
#include <cerrno>
#include <stdexcept>

#include "agent_fixture.h"
#include "process_state.h"

namespace {

/// What the next receives of the socket at a port meet with.
struct Fault {
  uint16_t port = 0;
  int times = 0;
  int error = 0;
  int receives = 0;        // of that port that gave a datagram
  std::string last_bytes;  // of them
};

Fault fault;

uint16_t PortOf(int socket) {
  boost::asio::ip::udp::endpoint local;
  auto size = static_cast<socklen_t>(local.capacity());
  return ::getsockname(socket, local.data(), &size) == 0 ? local.port() : uint16_t{0};
}

}  // namespace

extern "C" {

ssize_t __real_recvmsg(int socket, msghdr* message, int flags);

ssize_t __wrap_recvmsg(int socket, msghdr* message, int flags) {
  const bool is_at = fault.port != 0 && PortOf(socket) == fault.port;
  if (is_at && fault.times > 0) {
    --fault.times;
    errno = fault.error;
    return -1;
  }
  const ssize_t size = __real_recvmsg(socket, message, flags);
  if (is_at && size > 0) {
    ++fault.receives;
    fault.last_bytes.assign(static_cast<char*>(message->msg_iov->iov_base),
                            static_cast<size_t>(size));
  }
  return size;
}

}  // extern "C"

namespace host::test {
namespace {

using std::chrono::milliseconds;

/// Receives that one Receive() makes before it gives up.
constexpr int kTries = 4;

class AgentDeafTest : private LeakCheckPause, public AgentTest {
 protected:
  AgentDeafTest() { Restart({milliseconds(40), milliseconds(40)}); }
  ~AgentDeafTest() override { fault = {}; }

  void Restart(CheckTimes times) {
    fault = {};
    fault.port = a_.port;
    agent_.reset();
    agent_ = std::make_unique<SnmpAgent>(
        loop_, [this](int priority, const std::string& text) { log_.emplace_back(priority, text); },
        times);
    agent_->Follow({{"public"}});
    EXPECT_TRUE(agent_->SetListeners({a_}).empty());
  }

  /// Without rounds.
  void RestartQuiet() { Restart({std::chrono::hours(1), milliseconds(40)}); }

  int Count(const std::string& text) const {
    return static_cast<int>(std::count_if(log_.begin(), log_.end(), [&](const auto& record) {
      return record.second.find(text) != std::string::npos;
    }));
  }

  /// Waits until the listener is opened anew for that reason, and heard again.
  void ExpectHealed(const std::string& reason) {
    EXPECT_TRUE(RunUntil([&] { return Count(reason + "; opened anew") == 1; })) << reason;
    EXPECT_TRUE(RunUntil([&] { return Count("hears again") == 1; }));
    EXPECT_TRUE(Ask(a_));
    EXPECT_EQ(agent_->Facts().deaf.Total(), 1U);
    EXPECT_EQ(log_.size(), 2U);
  }

  const Endpoint a_ = {"127.0.0.1", FreePort()};
};

TEST_F(AgentDeafTest, OneThatHearsIsLeftAlone) {
  const int socket = SocketAt(a_);
  ASSERT_TRUE(RunUntil([] { return fault.receives == 5; }));
  EXPECT_EQ(SocketAt(a_), socket);
  EXPECT_TRUE(log_.empty());
  EXPECT_EQ(agent_->Facts().deaf.Total(), 0U);
  EXPECT_EQ(agent_->Facts().refused, 0U);
}

TEST_F(AgentDeafTest, WildcardsOfBothFamiliesAreAsked) {
  const uint16_t port = FreePort();
  fault.port = port;
  ASSERT_TRUE(agent_->SetListeners({{"0.0.0.0", port}}).empty());
  EXPECT_TRUE(RunUntil([] { return fault.receives == 2; }));
  ASSERT_TRUE(agent_->SetListeners({{"::", port}}).empty());
  EXPECT_TRUE(RunUntil([] { return fault.receives == 4; }));
  EXPECT_TRUE(log_.empty());
}

TEST_F(AgentDeafTest, RedirectPortsAreNotAsked) {
  const Endpoint redirect = {"0.0.0.0", FreePort()};
  ASSERT_TRUE(agent_->SetListeners({a_, redirect}).empty());
  agent_->SetMark(redirect.port, 7);
  log_.clear();  // without the right to mark it says so
  fault.port = redirect.port;
  const int socket = SocketAt(redirect);
  ASSERT_GE(socket, 0);
  uint64_t rounds = 0;
  boost::asio::steady_timer timer(loop_, milliseconds(400));
  timer.async_wait([&](const boost::system::error_code&) { ++rounds; });
  ASSERT_TRUE(RunUntil([&] { return rounds == 1; }));
  EXPECT_EQ(fault.receives, 0);
  EXPECT_EQ(SocketAt(redirect), socket);
  EXPECT_TRUE(log_.empty());
}

TEST_F(AgentDeafTest, ARefusedReceiveOpensAnewAtOnce) {
  RestartQuiet();
  fault.times = 2 * kTries;
  fault.error = EIO;
  Client client(a_);
  client.Send(Message{});
  EXPECT_TRUE(RunUntil([&] { return agent_->Facts().deaf.Total() == 1; }));
  fault.times = 0;
  EXPECT_TRUE(Ask(a_));
  EXPECT_EQ(Count("deaf, Input/output error; opened anew"), 1);
  EXPECT_EQ(Count("hears again"), 1);
}

TEST_F(AgentDeafTest, AnErrorThatIsToldOnceIsPassedOver) {
  RestartQuiet();
  const int socket = SocketAt(a_);
  fault.times = 1;
  fault.error = ECONNREFUSED;
  EXPECT_TRUE(Ask(a_));
  EXPECT_EQ(fault.times, 0);
  EXPECT_EQ(SocketAt(a_), socket);
  EXPECT_TRUE(log_.empty());
}

TEST_F(AgentDeafTest, OneThatIsRefusedAgainAndAgainWaitsForTheRounds) {
  constexpr int kMany = 1000000;
  fault.times = kMany;
  fault.error = ENOMEM;
  const auto is_closed = [this] {
    const host::AgentFacts facts = agent_->Facts();
    const auto& records = facts.deaf.OfListeners();
    return records.count(a_) > 0 && records.at(a_).is_closed;
  };
  Client client(a_);
  ASSERT_TRUE(RunUntil([&] {
    client.Send(Message{});
    return is_closed();
  })) << "refused once more, and right after it was opened anew";
  EXPECT_EQ(agent_->Listeners(), std::set<Endpoint>{a_}) << "it is wanted still";
  ASSERT_TRUE(RunUntil([this] { return agent_->Facts().deaf.Total() >= 5; }));
  EXPECT_LT(kMany - fault.times, 500) << "no busy loop";
  EXPECT_EQ(log_.size(), 1U) << "told once";
  fault.times = 0;
  ASSERT_TRUE(RunUntil([this] { return Count("hears again") == 1; }));
  EXPECT_TRUE(Ask(a_));
}

TEST_F(AgentDeafTest, AClosedDescriptor) {
  ASSERT_EQ(::close(SocketAt(a_)), 0);
  ExpectHealed("its descriptor is lost: Bad file descriptor");
}

TEST_F(AgentDeafTest, ADescriptorOfSomebodyElse) {
  const int socket = SocketAt(a_);
  const int file = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(::dup2(file, socket), socket);
  ::close(file);
  ExpectHealed("its descriptor is lost: Socket operation on non-socket");
  EXPECT_EQ(::fcntl(socket, F_GETFD), 0) << "it was not the listener's to close";
  ::close(socket);
}

TEST_F(AgentDeafTest, CallsOfOthersOutliveALostDescriptor) {
  RestartQuiet();
  ASSERT_EQ(::close(SocketAt(a_)), 0);
  agent_->Share(true);
  agent_->Share(false);
  EXPECT_TRUE(agent_->SetListeners({}).empty());
  EXPECT_TRUE(agent_->SetListeners({a_}).empty());
  EXPECT_TRUE(Ask(a_));
}

TEST_F(AgentDeafTest, ADescriptorThatIsNotWatched) {
  const int socket = SocketAt(a_);
  int removed = 0;
  for (int each = 0; each < socket; ++each) {
    removed += ::epoll_ctl(each, EPOLL_CTL_DEL, socket, nullptr) == 0 ? 1 : 0;
  }
  ASSERT_EQ(removed, 1);
  ExpectHealed("requests wait and are not taken");
}

TEST_F(AgentDeafTest, ASocketThatHearsSomebodyElseAlone) {
  const auto other = ToUdp({"127.0.0.1", FreePort()});
  ASSERT_EQ(::connect(SocketAt(a_), other.data(), static_cast<socklen_t>(other.size())), 0);
  ExpectHealed("no answer to a request of the daemon's own");
}

TEST_F(AgentDeafTest, OneThatCannotBeOpenedAnewIsTriedUntilItIs) {
  std::vector<std::string> told;
  agent_->SetListenerObserver([&](const Endpoint& listener, bool bound, const std::string& reason) {
    told.push_back(ToText(listener) + (bound ? " bound" : " unbound, ") + reason);
  });
  ASSERT_EQ(::close(SocketAt(a_)), 0);
  std::optional<boost::asio::ip::udp::socket> other(std::in_place, loop_, ToUdp(a_));
  EXPECT_TRUE(
      RunUntil([this] { return Count("not opened anew, and tried again until it is") == 1; }));
  EXPECT_TRUE(agent_->Facts().deaf.OfListeners().at(a_).is_closed);
  other.reset();
  EXPECT_TRUE(RunUntil([this] { return Count("hears again") == 1; }));
  EXPECT_TRUE(Ask(a_));
  ASSERT_EQ(told.size(), 2U);
  EXPECT_EQ(told[0].find(ToText(a_) + " unbound, deaf: "), 0U) << told[0];
  EXPECT_EQ(told[1], ToText(a_) + " bound");
}

TEST_F(AgentDeafTest, OwnCommunityIsNobodyElses) {
  ASSERT_TRUE(RunUntil([] { return fault.receives == 2; }));
  const std::string own = fault.last_bytes;
  ASSERT_NE(own.find(std::string("\x2b\x06\x01\x02\x01\x01\x03\x00", 8)), std::string::npos);
  EXPECT_TRUE(IsIgnored(a_, own));
  const Message count = {"public", Operation::kGet, kInBadCommunityNames, 5, kSnmp};
  EXPECT_EQ(Ask(a_, count)->value, std::string(1, '\0')) << "nobody guessed";
}

TEST_F(AgentDeafTest, BadCommunitiesAreOneRecordOfTheirSender) {
  RestartQuiet();
  Client client(a_);
  for (int i = 0; i < 100; ++i) client.Send(Message{"private"});
  ASSERT_TRUE(RunUntil([this] { return agent_->Facts().refused == 100; }));
  ASSERT_EQ(log_.size(), 1U);
  EXPECT_EQ(log_[0].second, "127.0.0.1: request refused: unknown community");
  const Message count = {"public", Operation::kGet, kInBadCommunityNames, 5, kSnmp};
  EXPECT_EQ(Ask(a_, count)->value, "\x64");
  agent_->SetListeners({});
  ASSERT_EQ(log_.size(), 2U);
  EXPECT_EQ(log_[1].second, "127.0.0.1: 99 more requests refused, the last: unknown community");
}

/// The log stands for whatever may fail in there.
class AgentFailureTest : public AgentDeafTest {
 protected:
  void Fail(CheckTimes times) {
    agent_.reset();
    agent_ = std::make_unique<SnmpAgent>(
        loop_,
        [this](int priority, const std::string& text) {
          log_.emplace_back(priority, text);
          if (priority == LOG_WARNING && fails_) throw std::runtime_error("no memory");
        },
        times);
    agent_->Follow({{"public"}});
    EXPECT_TRUE(agent_->SetListeners({a_}).empty());
  }

  bool fails_ = true;
};

TEST_F(AgentFailureTest, ExceptionInARequestIsARecordAndTheNextOneIsAnswered) {
  Fail({std::chrono::hours(1), milliseconds(40)});
  Client client(a_);
  client.Send(Message{"private"});
  EXPECT_TRUE(RunUntil([this] { return Count("SNMP agent: requests: no memory") == 1; }));
  EXPECT_TRUE(Ask(client));
  EXPECT_EQ(agent_->Facts().deaf.Total(), 0U);
}

TEST_F(AgentFailureTest, ExceptionInARoundIsARecordAndTheNextOneComes) {
  Fail({milliseconds(40), milliseconds(40)});
  ASSERT_EQ(::close(SocketAt(a_)), 0);
  EXPECT_TRUE(RunUntil([this] { return Count("SNMP agent: round of checks: no memory") == 1; }));
  fails_ = false;
  EXPECT_TRUE(RunUntil([this] { return Count("hears again") == 1; }));
  EXPECT_TRUE(Ask(a_));
}

TEST_F(AgentDeafTest, WhatTheLibrarySaysOfRequestsIsSummedToo) {
  RestartQuiet();
  std::string bad = Encode(Message{});
  bad[bad.find('\xa0')] = '\x05';
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(IsIgnored(a_, bad));
  ASSERT_EQ(log_.size(), 1U);
  EXPECT_EQ(log_[0].second, "127.0.0.1: request refused: Bad PDU type received: 0x05");
  EXPECT_EQ(agent_->Facts().refused, 10U);
}

}  // namespace
}  // namespace host::test
