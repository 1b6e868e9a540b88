#include "snmp/refused_requests.h"

#include <gtest/gtest.h>

#include <cstring>

#include "client.h"

namespace host::test {
namespace {

using std::chrono::seconds;
using Records = std::vector<std::string>;

class RefusedRequestsTest : public ::testing::Test {
 protected:
  std::string Refuse(const std::string& address, const std::string& reason = "bad") {
    const auto udp = ToUdp({address, 5555});
    sockaddr_storage peer = {};
    std::memcpy(&peer, udp.data(), udp.size());
    return refused_.Refused(peer, reason, now_);
  }

  RefusedRequests refused_;
  RefusedRequests::Clock::time_point now_;
};

TEST_F(RefusedRequestsTest, FirstOneAtOnceOthersAsASum) {
  EXPECT_EQ(Refuse("10.0.0.2"), "10.0.0.2: request refused: bad");
  for (int i = 0; i < 4999; ++i) EXPECT_EQ(Refuse("10.0.0.2", "worse"), "");
  EXPECT_EQ(Refuse("2001:db8::2"), "2001:db8::2: request refused: bad");
  now_ += seconds(59);
  EXPECT_EQ(refused_.TakeDue(now_), Records());
  now_ += seconds(1);
  EXPECT_EQ(refused_.TakeDue(now_),
            Records{"10.0.0.2: 4999 more requests refused, the last: worse"});
  EXPECT_EQ(refused_.TakeDue(now_), Records());
  EXPECT_EQ(refused_.Total(), 5001U);
}

TEST_F(RefusedRequestsTest, ASenderThatGoesOnIsToldOnceAMinute) {
  size_t told = 0;
  for (int second = 0; second < 600; ++second, now_ += seconds(1)) {
    told += Refuse("10.0.0.2").empty() ? 0 : 1;
    if (second % 60 == 30) told += refused_.TakeDue(now_).size();
  }
  EXPECT_LE(told, 10U);
  EXPECT_GE(told, 9U);
}

TEST_F(RefusedRequestsTest, AQuietSenderIsNewAfterwards) {
  Refuse("10.0.0.2");
  now_ += seconds(60);
  EXPECT_EQ(refused_.TakeDue(now_), Records());
  EXPECT_NE(Refuse("10.0.0.2"), "");
}

TEST_F(RefusedRequestsTest, SendersBeyondTheFirstOnesAreSummed) {
  size_t told = 0;
  for (int i = 0; i < 1000; ++i) {
    told +=
        Refuse("10.1." + std::to_string(i / 256) + "." + std::to_string(i % 256)).empty() ? 0 : 1;
  }
  EXPECT_EQ(told, RefusedRequests::kMostSenders);
  EXPECT_EQ(refused_.TakeDue(now_), Records{"other senders: 936 requests refused"});
  EXPECT_EQ(refused_.TakeDue(now_), Records());
  EXPECT_EQ(refused_.Total(), 1000U);
}

TEST_F(RefusedRequestsTest, AtTheEndNothingIsKeptBack) {
  Refuse("10.0.0.2");
  Refuse("10.0.0.2");
  EXPECT_EQ(refused_.TakeAll(), Records{"10.0.0.2: 1 more requests refused, the last: bad"});
  EXPECT_NE(Refuse("10.0.0.2"), "");
}

}  // namespace
}  // namespace host::test
