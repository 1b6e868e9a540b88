// The kernel's notifications of deleted routing rules.
#include "rules/rules_monitor.h"

#include <gmock/gmock.h>
#include <linux/rtnetlink.h>

#include <array>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "network.h"
#include "runtime/process.h"

namespace host::test {
namespace {

class RulesMonitorTest : public NetworkTest {
 protected:
  void TearDown() override { SetAnswerHook(nullptr); }

  void SetUp() override {
    NetworkTest::SetUp();
    if (!IsSkipped()) monitor_ = std::make_unique<RulesMonitor>(loop_, [this] { ++calls_; });
  }

  /// Runs the loop until there was one more call; false when none comes.
  bool WaitForCall() {
    const int before = calls_;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (calls_ == before && std::chrono::steady_clock::now() < deadline) {
      loop_.run_one_until(deadline);
    }
    return calls_ == before + 1;
  }

  boost::asio::io_context loop_;
  int calls_ = 0;
  std::unique_ptr<RulesMonitor> monitor_;
};

TEST_F(RulesMonitorTest, DeletionsOfOneMomentAreToldOnce) {
  Output(
      "ip rule add fwmark 1 lookup 1 protocol 175; ip -6 rule add fwmark 1 lookup 1 protocol 175");
  Output("ip rule del fwmark 1; ip -6 rule del fwmark 1");
  EXPECT_TRUE(WaitForCall());
  Output("ip rule add fwmark 1 lookup 1 protocol 175; ip rule del fwmark 1");
  EXPECT_TRUE(WaitForCall()) << "the next one is told again";
  EXPECT_EQ(calls_, 2);
}

TEST_F(RulesMonitorTest, AdditionsAndRulesOfOthersAreNotTold) {
  Output("ip rule add fwmark 1 lookup 1 protocol 175");
  Output("ip rule add fwmark 2 lookup 1 protocol 4; ip rule del fwmark 2");
  Output("ip rule add fwmark 3 lookup 1; ip rule del fwmark 3");
  loop_.poll();
  EXPECT_EQ(calls_, 0);
  Output("ip rule del fwmark 1");
  EXPECT_TRUE(WaitForCall()) << "what was there before would have been told by now";
  EXPECT_EQ(calls_, 1);
}

TEST_F(RulesMonitorTest, LostNotificationsAreAReasonToLook) {
  // More than the socket's buffer holds while nobody reads.
  Output(
      "for i in $(seq 3000); do echo rule add fwmark $i lookup 1 priority 9 protocol 4; done"
      " | ip -batch -");
  EXPECT_TRUE(WaitForCall());
}

TEST_F(RulesMonitorTest, ASocketThatFailsIsReplaced) {
  FailNotifications();
  Output("ip rule add fwmark 1 lookup 1 protocol 4");
  EXPECT_TRUE(WaitForCall()) << "what was missed meanwhile may be a deletion";
  Output("ip rule add fwmark 1 lookup 1 protocol 175; ip rule del fwmark 1 protocol 175");
  EXPECT_TRUE(WaitForCall()) << "the new one is told";
  EXPECT_EQ(calls_, 2);
}

TEST_F(RulesMonitorTest, ExceptionIsAFaultAndTheNextDeletionIsTold) {
  const Process process;
  monitor_ = std::make_unique<RulesMonitor>(loop_, [this] {
    if (++calls_ == 1) throw std::runtime_error("no rules");
  });
  Output("ip rule add fwmark 1 lookup 1 protocol 175; ip rule del fwmark 1");
  EXPECT_TRUE(WaitForCall());
  ASSERT_EQ(process.faults.size(), 1U);
  EXPECT_EQ(process.faults.back().text, "watch of the routing rules: no rules");
  Output("ip rule add fwmark 1 lookup 1 protocol 175; ip rule del fwmark 1");
  EXPECT_TRUE(WaitForCall());
}

TEST_F(RulesMonitorTest, ALoopWithoutAnEndOfNotificationsGoesOn) {
  SetAnswerHook([](char* data, size_t, ssize_t) {
    const nlmsghdr part = {sizeof(nlmsghdr), RTM_NEWRULE, NLM_F_MULTI, 0, 0};
    std::memcpy(data, &part, sizeof(part));
    return static_cast<ssize_t>(sizeof(part));
  });
  Output("ip rule add fwmark 1 lookup 1 protocol 175");
  bool fired = false;
  boost::asio::steady_timer timer(loop_, std::chrono::milliseconds(10));
  timer.async_wait([&](const boost::system::error_code&) { fired = true; });
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (!fired && loop_.run_one_until(deadline) > 0) {
  }
  EXPECT_TRUE(fired);
}

TEST_F(RulesMonitorTest, WhatCannotBeReadCountsAsLost) {
  for (const uint32_t length : {0U, 15U, 0xffffffffU}) {
    SetAnswerHook([length](char* data, size_t, ssize_t size) {
      if (size > 0) std::memcpy(data, &length, sizeof(length));
      return size;
    });
    Output("ip rule add fwmark 1 lookup 1 protocol 4");
    EXPECT_TRUE(WaitForCall()) << length;
    SetAnswerHook(nullptr);
    Output("ip rule del fwmark 1 protocol 4");
  }
}

TEST_F(RulesMonitorTest, NothingIsToldBehindItsEnd) {
  Output("ip rule add fwmark 1 lookup 1 protocol 175; ip rule del fwmark 1");
  monitor_.reset();
  loop_.poll();
  EXPECT_EQ(calls_, 0);
}

}  // namespace
}  // namespace host::test
