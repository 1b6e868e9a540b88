// The bytes of a trap message.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "app/trap_target.h"

namespace {

using ::testing::IsEmpty;

using Bytes = std::vector<uint8_t>;

/// The bytes of a text of hexadecimal numbers with blanks between.
Bytes FromHex(const std::string& text) {
  std::istringstream stream(text);
  Bytes bytes;
  for (unsigned int byte = 0; stream >> std::hex >> byte;) {
    bytes.push_back(static_cast<uint8_t>(byte));
  }
  return bytes;
}

/// The PDU, with the value of sysUpTime.0 given.
Bytes Pdu(const std::string& uptime) {
  return FromHex(
      "a7 5f 02 03 1e af 22 02 01 00 02 01 00 30 52 "
      "30 10 06 08 2b 06 01 02 01 01 03 00 43 04 " +
      uptime +
      " 30 17 06 0a 2b 06 01 06 03 01 01 04 01 00 06 09 2b 06 01 02 01 81 1e 00 02 "
      "30 11 06 0b 2b 06 01 02 01 81 1e 01 06 01 04 02 02 01 01 "
      "30 12 06 0b 2b 06 01 02 01 81 1e 01 06 01 03 04 03 01 80 c2");
}

Bytes Joined(const std::vector<Bytes>& parts) {
  Bytes bytes;
  for (const Bytes& part : parts) bytes.insert(bytes.end(), part.begin(), part.end());
  return bytes;
}

/// A community length and what the message must begin with, be as long as and have as offset.
struct Golden {
  size_t length;
  const char* header;
  size_t size;
  uint32_t uptime_offset;
};

class TrapMessageTest : public ::testing::TestWithParam<Golden> {
 protected:
  TrapMessageTest() { BuildTrapMessage(community_, message_, uptime_offset_); }

  Bytes Expected(const std::string& uptime) const {
    return Joined(
        {FromHex(GetParam().header), {community_.begin(), community_.end()}, Pdu(uptime)});
  }

  /// Differs from byte to byte.
  static std::string Community(size_t length) {
    std::string community;
    for (size_t i = 0; i < length; ++i) community += static_cast<char>('!' + i % 90);
    return community;
  }

  const std::string community_ = Community(GetParam().length);
  Bytes message_;
  uint32_t uptime_offset_ = 0;
};

TEST_P(TrapMessageTest, IsHeaderCommunityAndPdu) {
  EXPECT_EQ(Expected("00 00 00 00"), message_);
  EXPECT_EQ(GetParam().size, message_.size());
}

TEST_P(TrapMessageTest, OffsetIsThatOfTheFourBytesOfTheUptime) {
  EXPECT_EQ(GetParam().uptime_offset, uptime_offset_);
  const Bytes uptime = FromHex("de ad be ef");
  ASSERT_LE(uptime_offset_ + uptime.size(), message_.size());
  std::copy(uptime.begin(), uptime.end(), message_.begin() + uptime_offset_);
  EXPECT_EQ(Expected("de ad be ef"), message_);
}

INSTANTIATE_TEST_SUITE_P(Lengths, TrapMessageTest,
                         ::testing::Values(Golden{0, "30 66 02 01 01 04 00", 104, 36},
                                           Golden{1, "30 67 02 01 01 04 01", 105, 37},
                                           Golden{6, "30 6c 02 01 01 04 06", 110, 42},
                                           Golden{25, "30 7f 02 01 01 04 19", 129, 61},
                                           Golden{26, "30 81 80 02 01 01 04 1a", 131, 63},
                                           Golden{126, "30 81 e4 02 01 01 04 7e", 231, 163},
                                           Golden{127, "30 81 e5 02 01 01 04 7f", 232, 164}));

TEST(TrapMessageExampleTest, PublicIsWrittenOut) {
  Bytes message;
  uint32_t uptime_offset = 0;
  BuildTrapMessage("public", message, uptime_offset);
  EXPECT_EQ(Joined({FromHex("30 6c 02 01 01 04 06 70 75 62 6c 69 63"), Pdu("00 00 00 00")}),
            message);
  EXPECT_EQ(42U, uptime_offset);
}

TEST(TrapMessageExampleTest, CommunityIsAnyBytes) {
  Bytes message;
  uint32_t uptime_offset = 0;
  BuildTrapMessage(std::string("\0\xff\x30", 3), message, uptime_offset);
  EXPECT_EQ(Joined({FromHex("30 69 02 01 01 04 03 00 ff 30"), Pdu("00 00 00 00")}), message);
  EXPECT_EQ(39U, uptime_offset);
}

TEST(TrapMessageExampleTest, LongerCommunityIsRefusedWithNothingChanged) {
  for (const size_t length : {128U, 129U, 255U, 256U, 1000U}) {
    Bytes message;
    uint32_t uptime_offset = 7;
    EXPECT_THROW(BuildTrapMessage(std::string(length, 'c'), message, uptime_offset),
                 std::length_error);
    EXPECT_THAT(message, IsEmpty());
    EXPECT_EQ(7U, uptime_offset);
  }
}

}  // namespace
