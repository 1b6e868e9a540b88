// What holds of the trap message for every community.

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "decoded_trap.h"

namespace host::test {
namespace {

/// Up to 127 bytes of any value.
std::string AnyCommunity() {
  const size_t length = *rc::gen::inRange<size_t>(0, 128);
  return *rc::gen::container<std::string>(length, rc::gen::arbitrary<char>());
}

/// Any of 32 bits; the default generator prefers small ones.
uint32_t AnyUptime() { return *rc::gen::resize(rc::kNominalSize, rc::gen::arbitrary<uint32_t>()); }

RC_GTEST_PROP(TrapPropertyTest, CommunityComesBack, ()) {
  const std::string community = AnyCommunity();
  uint32_t offset = 0;
  const auto trap = DecodeTrap(MessageFor(community, &offset));
  RC_ASSERT(trap.has_value());
  RC_ASSERT(trap->version == 1);
  RC_ASSERT(trap->community == community);
  RC_ASSERT(trap->request_id == 0x1eaf22);
  RC_ASSERT(trap->bindings.size() == 4U);
}

RC_GTEST_PROP(TrapPropertyTest, UptimeWrittenIsTheUptimeRead, ()) {
  const std::string community = AnyCommunity();
  const uint32_t uptime = AnyUptime();
  const auto trap = DecodeTrap(MessageFor(community, uptime));
  RC_ASSERT(trap.has_value());
  RC_ASSERT(trap->community == community);
  RC_ASSERT(trap->bindings.at(0).name == "1.3.6.1.2.1.1.3.0");
  RC_ASSERT(trap->bindings.at(0).value == std::to_string(uptime));
}

RC_GTEST_PROP(TrapPropertyTest, LengthsAddUp, ()) {
  const std::string community = AnyCommunity();
  uint32_t offset = 0;
  const std::vector<uint8_t> message = MessageFor(community, &offset);
  const bool is_long = message.at(1) == 0x81;
  const size_t content = is_long ? 3 : 2;
  RC_ASSERT(message.at(0) == 0x30);
  RC_ASSERT(message.at(content - 1) == message.size() - content);
  RC_ASSERT(is_long == (message.size() - content > 127U));
  RC_ASSERT(message.at(content + 4) == community.size());
  const size_t pdu = content + 5 + community.size();
  RC_ASSERT(message.at(pdu) == 0xa7);
  RC_ASSERT(message.at(pdu + 1) == message.size() - pdu - 2);
  RC_ASSERT(message.size() - pdu == 97U);
  RC_ASSERT(offset == pdu + 29);
}

}  // namespace
}  // namespace host::test
