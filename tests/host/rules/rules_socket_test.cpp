// The answers of the kernel's routing, and what may come in their place.
#include "rules/rules_socket.h"

#include <gmock/gmock.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <netlink/errno.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <vector>

#include "network.h"

namespace host::test {
namespace {

class RulesSocketTest : public NetworkTest {
 protected:
  void TearDown() override { SetAnswerHook(nullptr); }

  static int Rules() { return CountLines(Output("ip rule show"), "proto 175"); }

  /// Alters the next answer, and from then on none.
  static void AlterOne(const AnswerHook& alter) {
    SetAnswerHook([alter, altered = false](char* data, size_t capacity, ssize_t size) mutable {
      if (altered) return size;
      altered = true;
      return alter(data, capacity, size);
    });
  }

  RulesSocket socket_;
};

nlmsghdr Header(const char* data) {
  nlmsghdr header;
  std::memcpy(&header, data, sizeof(header));
  return header;
}

ssize_t Put(char* data, const nlmsghdr& header, ssize_t size) {
  std::memcpy(data, &header, sizeof(header));
  return size;
}

ssize_t Fail(int error) {
  errno = error;
  return -1;
}

/// Each is what may stand in the place of one answer.
const std::vector<AnswerHook>& Alterations() {
  static const std::vector<AnswerHook> all = {
      [](char*, size_t, ssize_t) { return Fail(ENOBUFS); },
      [](char*, size_t, ssize_t) { return Fail(EAGAIN); },
      [](char*, size_t, ssize_t) { return Fail(EIO); },
      [](char*, size_t, ssize_t) { return ssize_t{3}; },
      [](char*, size_t, ssize_t size) { return size - 1; },
      [](char*, size_t capacity, ssize_t) { return static_cast<ssize_t>(capacity + 1); },
      [](char* data, size_t, ssize_t size) {
        nlmsghdr header = Header(data);
        header.nlmsg_len = 0xffffffff;
        return Put(data, header, size);
      },
      [](char* data, size_t, ssize_t size) {
        nlmsghdr header = Header(data);
        header.nlmsg_len = 0;
        return Put(data, header, size);
      },
      [](char* data, size_t, ssize_t size) {
        nlmsghdr header = Header(data);
        --header.nlmsg_seq;
        return Put(data, header, size);
      },
      [](char* data, size_t, ssize_t) {
        nlmsghdr header = Header(data);
        header.nlmsg_type = NLMSG_ERROR;
        header.nlmsg_len = sizeof(header);
        return Put(data, header, sizeof(header));
      },
  };
  return all;
}

TEST_F(RulesSocketTest, AChangeIsDoneAndKnownWhateverComesInPlaceOfItsAnswer) {
  for (const AnswerHook& alteration : Alterations()) {
    AlterOne(alteration);
    EXPECT_EQ(socket_.Change(RuleChange::kAdd, MarkRule(AF_INET, 100)), -NLE_EXIST);
    EXPECT_EQ(Rules(), 1);
    AlterOne(alteration);
    EXPECT_EQ(socket_.Change(RuleChange::kDelete, MarkRule(AF_INET, 100)), -NLE_OBJ_NOTFOUND);
    EXPECT_EQ(Rules(), 0);
    EXPECT_EQ(socket_.Change(RuleChange::kAdd, MarkRule(AF_INET, 200)), 0) << "the next is in step";
    EXPECT_EQ(socket_.Change(RuleChange::kDelete, MarkRule(AF_INET, 200)), 0);
  }
}

TEST_F(RulesSocketTest, AListIsWholeWhateverComesInPlaceOfAPart) {
  Output(
      "for i in $(seq 500); do echo rule add fwmark $i lookup $i priority 1500 protocol 175; done"
      " | ip -batch -");
  for (const AnswerHook& alteration : Alterations()) {
    AlterOne(alteration);
    std::vector<RulesSocket::Listed> listed;
    EXPECT_EQ(socket_.ListOwn(AF_INET, listed), 0);
    EXPECT_EQ(listed.size(), 500U);
  }
}

TEST_F(RulesSocketTest, WhatNeverEndsIsGivenUp) {
  const auto begin = std::chrono::steady_clock::now();
  nlmsghdr last = {};
  SetAnswerHook([&](char* data, size_t, ssize_t size) {
    if (size > 0) last = Header(data);
    last.nlmsg_type = RTM_NEWRULE;
    last.nlmsg_len = sizeof(last);
    return Put(data, last, sizeof(last));
  });
  std::vector<RulesSocket::Listed> listed;
  EXPECT_EQ(socket_.ListOwn(AF_INET, listed), -NLE_AGAIN);
  EXPECT_TRUE(listed.empty());
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

TEST_F(RulesSocketTest, AnAnswerThatDoesNotComeIsWaitedForASecond) {
  SetAnswerHook([&](char*, size_t, ssize_t) { return Fail(EINTR); });
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_LT(socket_.Change(RuleChange::kAdd, MarkRule(AF_INET, 100)), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
  SetAnswerHook(nullptr);
  EXPECT_EQ(RulesSocket().Change(RuleChange::kDelete, MarkRule(AF_INET, 100)), 0);
}

/// A commit of many rules would wait two seconds for each.
TEST_F(RulesSocketTest, AKernelThatIsSilentIsLeftAloneForAWhile) {
  const auto begin = std::chrono::steady_clock::now();
  SetAnswerHook([&](char*, size_t, ssize_t) { return Fail(EINTR); });
  for (uint32_t table = 100; table < 150; ++table) {
    EXPECT_EQ(socket_.Change(RuleChange::kAdd, MarkRule(AF_INET, table)), -NLE_AGAIN);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
  SetAnswerHook(nullptr);
  int code = -NLE_AGAIN;
  while (code == -NLE_AGAIN &&
         std::chrono::steady_clock::now() - begin < std::chrono::seconds(20)) {
    code = socket_.Change(RuleChange::kAdd, MarkRule(AF_INET, 200));
  }
  EXPECT_EQ(code, 0) << "it is asked again";
}

TEST_F(RulesSocketTest, ARuleIsReadAsItWasWritten) {
  RoutingRule guard = EndRule(1399);
  guard.inverted = true;
  guard.first_port = 162;
  guard.last_port = 10162;
  RoutingRule block = EndRule(1400);
  block.target = 1401;
  block.first_port = block.last_port = 0;
  block.destination = {10, 1, 32};
  block.destination_bits = 19;
  RoutingRule nothing;
  nothing.family = AF_INET;
  nothing.priority = kBehindPriority;
  nothing.action = RuleAction::kNothing;
  const std::vector<RoutingRule> rules = {
      guard,
      block,
      EndRule(1401),
      nothing,
      MarkRule(AF_INET, 0xffffffff),
      LookupRule({boost::asio::ip::make_address("192.0.2.7"), 162, 4294967295}, 1401)};
  for (const RoutingRule& rule : rules) {
    ASSERT_EQ(socket_.Change(RuleChange::kAdd, rule), 0) << RuleText(rule);
    EXPECT_EQ(socket_.Change(RuleChange::kAdd, rule), -NLE_EXIST) << RuleText(rule);
  }
  std::vector<RulesSocket::Listed> listed;
  ASSERT_EQ(socket_.ListOwn(AF_INET, listed), 0);
  ASSERT_EQ(listed.size(), rules.size());
  for (const RulesSocket::Listed& one : listed) {
    ASSERT_TRUE(one.rule.has_value());
    EXPECT_EQ(std::count_if(rules.begin(), rules.end(),
                            [&](const RoutingRule& rule) {
                              return !(rule < *one.rule) && !(*one.rule < rule);
                            }),
              1)
        << RuleText(*one.rule);
    EXPECT_EQ(socket_.Delete(one), 0);
  }
  EXPECT_EQ(Rules(), 0);
}

}  // namespace
}  // namespace host::test
