// The agent's library reads the trap message.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "decoded_trap.h"

namespace host::test {
namespace {

using ::testing::ElementsAre;

constexpr uint8_t kInteger = 0x02;
constexpr uint8_t kOctets = 0x04;
constexpr uint8_t kObjectId = 0x06;
constexpr uint8_t kTimeTicks = 0x43;
constexpr int kTrap2 = 0xa7;

class TrapDecodeTest : public ::testing::TestWithParam<size_t> {};

TEST_P(TrapDecodeTest, HasCommunityRequestAndThreeBindingsBehindTheUptime) {
  const std::string community(GetParam(), 'c');
  const auto trap = DecodeTrap(MessageFor(community, 4294967295U));
  ASSERT_TRUE(trap);
  EXPECT_EQ(1, trap->version);
  EXPECT_EQ(community, trap->community);
  EXPECT_EQ(kTrap2, trap->command);
  EXPECT_EQ(0x1eaf22, trap->request_id);
  EXPECT_EQ(0, trap->error_status);
  EXPECT_EQ(0, trap->error_index);
  EXPECT_THAT(trap->bindings,
              ElementsAre(Binding{"1.3.6.1.2.1.1.3.0", kTimeTicks, "4294967295"},
                          Binding{"1.3.6.1.6.3.1.1.4.1.0", kObjectId, "1.3.6.1.2.1.158.0.2"},
                          Binding{"1.3.6.1.2.1.158.1.6.1.4", kInteger, "257"},
                          Binding{"1.3.6.1.2.1.158.1.6.1.3", kOctets, "\x01\x80\xc2"}));
}

INSTANTIATE_TEST_SUITE_P(Lengths, TrapDecodeTest, ::testing::Values(0, 6, 25, 26, 127));

TEST(TrapDecodeOnceTest, UptimeIsZeroUntilItIsWritten) {
  uint32_t offset = 0;
  const auto trap = DecodeTrap(MessageFor("public", &offset));
  ASSERT_TRUE(trap);
  ASSERT_FALSE(trap->bindings.empty());
  EXPECT_EQ((Binding{"1.3.6.1.2.1.1.3.0", kTimeTicks, "0"}), trap->bindings[0]);
}

TEST(TrapDecodeOnceTest, MessageThatIsCutIsNone) {
  uint32_t offset = 0;
  std::vector<uint8_t> message = MessageFor("public", &offset);
  message.pop_back();
  EXPECT_FALSE(DecodeTrap(message));
}

}  // namespace
}  // namespace host::test
