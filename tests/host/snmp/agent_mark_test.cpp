#include <linux/capability.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/ip/udp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <stdexcept>
#include <utility>

#include "agent_fixture.h"
#include "snmp/agent_thread.h"

namespace host::test {
namespace {

using boost::asio::ip::udp;

/// The mark of a socket of this process; none when it is not there.
std::optional<uint32_t> MarkOf(int socket) {
  uint32_t mark = 0;
  socklen_t size = sizeof(mark);
  const bool is_there = ::getsockopt(socket, SOL_SOCKET, SO_MARK, &mark, &size) == 0;
  return is_there ? std::optional(mark) : std::nullopt;
}

std::optional<uint32_t> MarkOf(const Endpoint& endpoint) { return MarkOf(SocketAt(endpoint)); }

bool MayMark() {
  boost::asio::io_context unused;
  udp::socket socket(unused, udp::v4());
  const uint32_t mark = 1;
  return ::setsockopt(socket.native_handle(), SOL_SOCKET, SO_MARK, &mark, sizeof(mark)) == 0;
}

void DropCapabilities() {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct none[2] = {};
  ASSERT_EQ(::syscall(SYS_capset, &header, none), 0);
}

/// This thread has no capability in effect as long as this lives.
class WithoutCapabilities {
 public:
  WithoutCapabilities() {
    EXPECT_EQ(::syscall(SYS_capget, &header_, before_), 0);
    __user_cap_data_struct none[2] = {before_[0], before_[1]};
    none[0].effective = none[1].effective = 0;
    EXPECT_EQ(::syscall(SYS_capset, &header_, none), 0);
  }
  ~WithoutCapabilities() { EXPECT_EQ(::syscall(SYS_capset, &header_, before_), 0); }
  WithoutCapabilities(const WithoutCapabilities&) = delete;
  WithoutCapabilities& operator=(const WithoutCapabilities&) = delete;

 private:
  __user_cap_header_struct header_ = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct before_[2] = {};
};

class AgentMarkTest : public AgentTest {
 protected:
  void SetUp() override {
    if (!MayMark()) GTEST_SKIP() << "no right to mark sockets";
  }

  const uint16_t port_ = FreePort();
  const Endpoint ipv4_ = {"0.0.0.0", port_};
  const Endpoint ipv6_ = {"::", port_};
};

TEST_F(AgentMarkTest, MarksOpenWildcardsInPlace) {
  ASSERT_TRUE(agent_->SetListeners({ipv4_, ipv6_}).empty());
  const int socket = SocketAt(ipv4_);
  EXPECT_EQ(MarkOf(ipv4_), 0U);
  agent_->SetMark(port_, 100);
  EXPECT_EQ(SocketAt(ipv4_), socket);
  EXPECT_EQ(MarkOf(ipv4_), 100U);
  EXPECT_EQ(MarkOf(ipv6_), 100U);
  agent_->SetMark(port_, 0);
  EXPECT_EQ(MarkOf(ipv4_), 0U);
  EXPECT_EQ(MarkOf(ipv6_), 0U);
}

TEST_F(AgentMarkTest, MarksThoseOpenedLater) {
  agent_->SetMark(port_, 100);
  ASSERT_TRUE(agent_->SetListeners({ipv4_}).empty());
  EXPECT_EQ(MarkOf(ipv4_), 100U);
  ASSERT_TRUE(agent_->SetListeners({ipv4_, ipv6_}).empty());
  EXPECT_EQ(MarkOf(ipv6_), 100U);
  agent_->SetListeners({});
  agent_->SetMark(port_, 0);
  ASSERT_TRUE(agent_->SetListeners({ipv4_}).empty());
  EXPECT_EQ(MarkOf(ipv4_), 0U);
}

TEST_F(AgentMarkTest, LeavesOtherListenersAlone) {
  const Endpoint address = {"127.0.0.1", port_};
  const Endpoint other_port = {"0.0.0.0", FreePort()};
  agent_->SetMark(port_, 100);
  ASSERT_TRUE(agent_->SetListeners({address, other_port}).empty());
  agent_->SetMark(port_, 200);
  EXPECT_EQ(MarkOf(address), 0U);
  EXPECT_EQ(MarkOf(other_port), 0U);
}

TEST_F(AgentMarkTest, WhatIsRefusedIsSetLater) {
  using std::chrono::milliseconds;
  agent_.reset();
  agent_ = std::make_unique<SnmpAgent>(
      loop_, [this](int priority, const std::string& text) { log_.emplace_back(priority, text); },
      CheckTimes{milliseconds(40), milliseconds(20)});
  ASSERT_TRUE(agent_->SetListeners({ipv4_, ipv6_}).empty());
  {
    const WithoutCapabilities none;
    agent_->SetMark(port_, 100);
    size_t rounds = 0;
    boost::asio::steady_timer timer(loop_, milliseconds(200));
    timer.async_wait([&](const boost::system::error_code&) { ++rounds; });
    ASSERT_TRUE(RunUntil([&] { return rounds == 1; }));
  }
  EXPECT_EQ(log_.size(), 2U) << "told once for each";
  EXPECT_TRUE(RunUntil([&] { return MarkOf(ipv4_) == 100U && MarkOf(ipv6_) == 100U; }));
  ASSERT_EQ(log_.size(), 4U);
  EXPECT_EQ(log_[2].second, ToText(ipv4_) + ": mark 100 is set now");
}

TEST_F(AgentMarkTest, ARefusalIsLoggedAndTheListenerServes) {
  EXPECT_EXIT(
      {
        DropCapabilities();
        ASSERT_TRUE(agent_->SetListeners({ipv4_}).empty());
        log_.clear();
        agent_->SetMark(port_, 100);
        const std::string text = log_.empty() ? "nothing logged" : log_.front().second;
        const bool answers = Ask({"127.0.0.1", port_}).has_value();
        fprintf(stderr, "%s %s\n", text.c_str(), answers ? "answers" : "is silent");
        ::_exit(0);
      },
      ::testing::ExitedWithCode(0),
      "mark 100 not set, and tried again until it is: Operation not permitted answers");
}

/// The log stands for whatever may fail in there.
TEST_F(AgentMarkTest, AnExceptionOnTheAgentsThreadIsARecordAndItGoesOn) {
  EXPECT_EXIT(
      {
        agent_.reset();
        DropCapabilities();
        bool is_first = true;
        AgentThread agent([&is_first](int, const std::string& text) {
          if (std::exchange(is_first, false)) throw std::runtime_error("no memory");
          fprintf(stderr, "%s\n", text.c_str());
        });
        ASSERT_TRUE(agent.SetListeners({ipv4_}).empty());
        agent.SetMark(port_, 100);
        agent.Wait();
        ::_exit(0);
      },
      ::testing::ExitedWithCode(0), "SNMP agent: mark of a port: no memory");
}

}  // namespace
}  // namespace host::test
