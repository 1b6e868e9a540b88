#include "snmp/unsent_answers.h"

#include <gtest/gtest.h>

#include <cstring>

#include "client.h"

namespace host::test {
namespace {

using std::chrono::seconds;

class UnsentAnswersTest : public ::testing::Test {
 protected:
  static sockaddr_storage Peer(const std::string& address) {
    const auto udp = ToUdp({address, 5555});
    sockaddr_storage peer = {};
    std::memcpy(&peer, udp.data(), udp.size());
    return peer;
  }

  std::string Fail(const Endpoint& listener, const std::string& peer) {
    return unsent_.Failed(listener, Peer(peer), std::make_error_code(std::errc::io_error), now_);
  }

  const Endpoint a_ = {"10.0.0.1", 161};
  const Endpoint b_ = {"::", 60600};
  UnsentAnswers unsent_;
  UnsentAnswers::Clock::time_point now_;
};

TEST_F(UnsentAnswersTest, CountsEachListenersAndAll) {
  Fail(a_, "10.0.0.2");
  Fail(a_, "10.0.0.3");
  Fail(b_, "fe80::2");
  EXPECT_EQ(unsent_.OfListeners().at(a_).count, 2U);
  EXPECT_EQ(unsent_.OfListeners().at(b_).count, 1U);
  EXPECT_EQ(unsent_.OfListeners().at(b_).last_error, "Input/output error");
  EXPECT_EQ(unsent_.Total(), 3U);
}

TEST_F(UnsentAnswersTest, TellsOncePerListener) {
  EXPECT_EQ(Fail(a_, "10.0.0.2"),
            "10.0.0.1:161: an answer to 10.0.0.2 was not sent: Input/output error");
  now_ += seconds(3600);
  EXPECT_EQ(Fail(a_, "10.0.0.2"), "");
  EXPECT_EQ(Fail(a_, "10.0.0.3"), "");
  EXPECT_EQ(Fail(b_, "2001:db8::2"),
            "[::]:60600: an answer to 2001:db8::2 was not sent: Input/output error");
}

TEST_F(UnsentAnswersTest, TellsAgainWhenItWasMendedMeanwhile) {
  Fail(a_, "10.0.0.2");
  unsent_.Sent(a_, Peer("10.0.0.3"));
  now_ += seconds(60);
  EXPECT_EQ(Fail(a_, "10.0.0.2"), "") << "another manager was answered";
  unsent_.Sent(b_, Peer("10.0.0.2"));
  EXPECT_EQ(Fail(a_, "10.0.0.2"), "") << "from another listener";
  unsent_.Sent(a_, Peer("10.0.0.2"));
  EXPECT_NE(Fail(a_, "10.0.0.2"), "");
}

TEST_F(UnsentAnswersTest, AManagerThatComesAndGoesIsToldOnceAMinute) {
  int told = 0;
  for (int second = 0; second < 120; ++second, now_ += seconds(1)) {
    told += Fail(a_, "10.0.0.2").empty() ? 0 : 1;
    unsent_.Sent(a_, Peer("10.0.0.2"));
  }
  EXPECT_EQ(told, 2);
}

TEST_F(UnsentAnswersTest, AClosedListenerIsForgottenAndStaysInTheTotal) {
  Fail(a_, "10.0.0.2");
  unsent_.Forget(a_);
  EXPECT_TRUE(unsent_.OfListeners().empty());
  EXPECT_EQ(unsent_.Total(), 1U);
  EXPECT_NE(Fail(a_, "10.0.0.2"), "");
}

}  // namespace
}  // namespace host::test
