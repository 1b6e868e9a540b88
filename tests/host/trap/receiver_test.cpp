// A receiver of traps takes the message off the wire.

#include "receiver.h"

#include <gtest/gtest.h>

#include "decoded_trap.h"

namespace host::test {
namespace {

class ReceiverTest : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    if (!Receiver::IsInstalled()) GTEST_SKIP() << "snmptrapd is not installed";
  }

  /// What the receiver prints of a trap.
  static std::string Printed(const std::string& community, const std::string& uptime) {
    return "trap|TRAP2, SNMP v2c, community " + community +
           "|.1.3.6.1.2.1.1.3.0 = Timeticks: " + uptime +
           "\t.1.3.6.1.6.3.1.1.4.1.0 = OID: .1.3.6.1.2.1.158.0.2"
           "\t.1.3.6.1.2.1.158.1.6.1.4 = INTEGER: 257"
           "\t.1.3.6.1.2.1.158.1.6.1.3 = Hex-STRING: 01 80 C2 ";
  }
};

TEST_P(ReceiverTest, PrintsTheTrapOfACommunity) {
  const std::string community = GetParam();
  EXPECT_EQ(Printed(community, "(16909060) 1 day, 22:58:10.60"),
            Receiver(community).Receive(MessageFor(community, 0x01020304U)));
}

TEST_P(ReceiverTest, PrintsTheTrapWhoseUptimeWasNotWritten) {
  const std::string community = GetParam();
  uint32_t offset = 0;
  EXPECT_EQ(Printed(community, "(0) 0:00:00.00"),
            Receiver(community).Receive(MessageFor(community, &offset)));
}

INSTANTIATE_TEST_SUITE_P(Communities, ReceiverTest,
                         ::testing::Values("public", "twenty-five-characters-xx",
                                           "twenty-six-characters-long",
                                           "a-community-of-forty-characters-or-more-x"));

}  // namespace
}  // namespace host::test
