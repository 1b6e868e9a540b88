#include "snmp/udp_listener.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <system_error>

#include "client.h"

namespace host {
namespace {

using boost::asio::ip::udp;

class UdpListenerTest : public ::testing::Test {
 protected:
  int Drain(UdpListener& listener) {
    int count = 0;
    while (listener.Receive(datagram_)) ++count;
    return count;
  }

  boost::asio::io_context loop_;
  Endpoint endpoint_ = {"127.0.0.1", test::FreePort()};
  Datagram datagram_;
};

TEST_F(UdpListenerTest, ReceivesAndAnswers) {
  UdpListener listener(loop_);
  ASSERT_FALSE(listener.Open(endpoint_));
  EXPECT_FALSE(listener.Receive(datagram_));
  udp::socket manager(loop_, udp::v4());
  manager.send_to(boost::asio::buffer("question", 8), test::ToUdp(endpoint_));
  ASSERT_TRUE(listener.Receive(datagram_));
  EXPECT_EQ(datagram_.Bytes(), "question");
  listener.Answer(datagram_, "answer");
  char buffer[16];
  udp::endpoint from;
  ASSERT_EQ(manager.receive_from(boost::asio::buffer(buffer), from), 6U);
  EXPECT_EQ(from, test::ToUdp(endpoint_));
}

// Libraries that wait with select(2) need the low numbers.
TEST_F(UdpListenerTest, LeavesTheLowDescriptorsToOthers) {
  UdpListener listener(loop_);
  const int before = ::dup(0);
  ASSERT_GE(before, 0);
  ::close(before);
  ASSERT_FALSE(listener.Open(endpoint_));
  const int after = ::dup(0);
  EXPECT_EQ(after, before);
  ::close(after);
}

TEST_F(UdpListenerTest, EmptyDatagramIsOne) {
  UdpListener listener(loop_);
  ASSERT_FALSE(listener.Open(endpoint_));
  test::Client client(endpoint_);
  client.Send("");
  EXPECT_TRUE(listener.Receive(datagram_));
  EXPECT_EQ(datagram_.Bytes(), "");
}

TEST_F(UdpListenerTest, NobodyIsBoundBesideUnlessItShares) {
  UdpListener listener(loop_);
  ASSERT_FALSE(listener.Open(endpoint_));
  const auto bind_beside = [this] {
    udp::socket other(loop_, udp::v4());
    other.set_option(udp::socket::reuse_address(true));
    boost::system::error_code error;
    other.bind(test::ToUdp(endpoint_), error);
    return error;
  };
  EXPECT_EQ(bind_beside(), boost::asio::error::address_in_use);
  listener.Share(true);
  EXPECT_FALSE(bind_beside());
  listener.Share(false);
  EXPECT_EQ(bind_beside(), boost::asio::error::address_in_use);
}

TEST_F(UdpListenerTest, SharingSocketOfAnotherBlocksItToo) {
  udp::socket other(loop_, udp::v4());
  other.set_option(udp::socket::reuse_address(true));
  other.bind(test::ToUdp(endpoint_));
  UdpListener listener(loop_);
  EXPECT_EQ(listener.Open(endpoint_), std::errc::address_in_use);
  other.close();
  EXPECT_FALSE(listener.Open(endpoint_)) << "the same one, tried again";
}

TEST_F(UdpListenerTest, AnswerThatIsNotSentHasTheSystemsReason) {
  UdpListener listener(loop_);
  ASSERT_FALSE(listener.Open(endpoint_));
  test::Client client(endpoint_);
  client.Send("question");
  ASSERT_TRUE(listener.Receive(datagram_));
  EXPECT_FALSE(listener.Answer(datagram_, "answer"));
  EXPECT_EQ(listener.Answer(datagram_, std::string(65536, 'x')), std::errc::message_size);
}

// The way of an address whose listener is opened anew: the old socket keeps what it has, the new
// one hears what comes from then on.
TEST_F(UdpListenerTest, SecondOneBesideAnOldOneTakesOver) {
  UdpListener before(loop_);
  ASSERT_FALSE(before.Open(endpoint_));
  test::Client client(endpoint_);
  for (int i = 0; i < 3; ++i) client.Send("early");
  UdpListener after(loop_);
  before.Share(true);
  ASSERT_FALSE(after.Open(endpoint_, UdpListener::Place::kBeside));
  for (int i = 0; i < 2; ++i) client.Send("late");
  EXPECT_EQ(Drain(before), 3);
  EXPECT_EQ(Drain(after), 2);
}

TEST_F(UdpListenerTest, QueueLimitIsNeverReached) {
  UdpListener listener(loop_);
  ASSERT_FALSE(listener.Open(endpoint_));
  test::Client client(endpoint_);
  for (size_t i = 0; i < 2 * listener.QueueLimit(); ++i) client.Send("x");
  const int queued = Drain(listener);
  EXPECT_GT(queued, 0);
  EXPECT_LE(static_cast<size_t>(queued), listener.QueueLimit());
}

TEST_F(UdpListenerTest, AddressOfNobodyIsRefused) {
  EXPECT_EQ(UdpListener(loop_).Open({"192.0.2.1", endpoint_.port}),
            std::errc::address_not_available);
}

TEST_F(UdpListenerTest, TextThatIsNoAddressIsRefused) {
  EXPECT_EQ(UdpListener(loop_).Open({"localhost", endpoint_.port}), std::errc::invalid_argument);
}

TEST_F(UdpListenerTest, PlainSocketOfAnotherBlocksIt) {
  udp::socket other(loop_, udp::v4());
  other.bind(test::ToUdp(endpoint_));
  EXPECT_EQ(UdpListener(loop_).Open(endpoint_), std::errc::address_in_use);
}

TEST_F(UdpListenerTest, WildcardOfIpv6DoesNotHearIpv4) {
  UdpListener listener(loop_);
  ASSERT_FALSE(listener.Open({"::", endpoint_.port}));
  test::Client v4(endpoint_);
  test::Client v6({"::1", endpoint_.port});
  v4.Send("4");
  v6.Send("6");
  ASSERT_TRUE(listener.Receive(datagram_));
  EXPECT_EQ(datagram_.Bytes(), "6");
  EXPECT_FALSE(listener.Receive(datagram_));
}

TEST_F(UdpListenerTest, WildcardsOfBothFamiliesStandSideBySide) {
  UdpListener v4(loop_);
  ASSERT_FALSE(v4.Open({"0.0.0.0", endpoint_.port}));
  UdpListener v6(loop_);
  ASSERT_FALSE(v6.Open({"::", endpoint_.port}));
  test::Client client_v4(endpoint_);
  test::Client client_v6({"::1", endpoint_.port});
  client_v4.Send("4");
  client_v6.Send("6");
  ASSERT_TRUE(v4.Receive(datagram_));
  EXPECT_EQ(datagram_.Bytes(), "4");
  ASSERT_TRUE(v6.Receive(datagram_));
  EXPECT_EQ(datagram_.Bytes(), "6");
}

}  // namespace
}  // namespace host
