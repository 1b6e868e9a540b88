// The texts of values and key paths.

#include <arpa/inet.h>

#include <cstring>

#include "contract_test.h"

namespace contract {
namespace {

using testing::ElementsAre;

in_addr Ipv4(const char* text) {
  in_addr address = {};
  inet_pton(AF_INET, text, &address);
  return address;
}

in6_addr Ipv6(const char* text) {
  in6_addr address = {};
  inet_pton(AF_INET6, text, &address);
  return address;
}

/// The text that confd_pp_value() prints of a value, which is freed; its length is checked.
std::string Print(const confd_value_t& value) {
  const common::OwnedValue owned(value);
  char text[128] = "untouched";
  const int length = confd_pp_value(text, sizeof text, &owned.Value());
  EXPECT_EQ(length, static_cast<int>(strlen(text)));
  return text;
}

TEST(PrintValueTest, EveryType) {
  EXPECT_EQ(Print(common::MakeBuf("a text")), "a text");
  EXPECT_EQ(Print(common::MakeBuf("")), "");
  EXPECT_EQ(Print(common::MakeInt32(-2147483647 - 1)), "-2147483648");
  EXPECT_EQ(Print(common::MakeUint8(255)), "255");
  EXPECT_EQ(Print(common::MakeUint16(65535)), "65535");
  EXPECT_EQ(Print(common::MakeUint32(4294967295U)), "4294967295");
  EXPECT_EQ(Print(common::MakeBool(true)), "true");
  EXPECT_EQ(Print(common::MakeBool(false)), "false");
  EXPECT_EQ(Print(common::MakeIpv4(Ipv4("192.0.2.1"))), "192.0.2.1");
  EXPECT_EQ(Print(common::MakeIpv6(Ipv6("2001:db8::1"))), "2001:db8::1");
  EXPECT_EQ(Print(common::MakeIpv4Prefix({Ipv4("192.0.2.1"), 24})), "192.0.2.1/24");
  EXPECT_EQ(Print(common::MakeIpv6Prefix({Ipv6("2001:db8::1"), 64})), "2001:db8::1/64");
  EXPECT_EQ(Print(common::MakeBinary(std::string("\x0a\0\xff", 3))), "0a:00:ff");
  EXPECT_EQ(Print(common::MakeBinary("")), "");
  EXPECT_EQ(Print(common::MakeList({})), "[ ]");
  EXPECT_EQ(Print(common::MakeList({common::MakeBuf("a"), common::MakeUint16(7)})), "[ a 7 ]");
}

TEST(PrintValueTest, WhatHasNoTextIsRefused) {
  char text[16] = "before";
  const confd_value_t none = {C_NOEXISTS, {}};
  EXPECT_LT(confd_pp_value(text, sizeof text, &none), 0);
  const confd_value_t unknown = common::MakeTag(1, 1);
  EXPECT_LT(confd_pp_value(text, sizeof text, &unknown), 0);
  confd_hkeypath_t kp = {};
  kp.len = 1;
  kp.v[0][0] = unknown;
  EXPECT_LT(confd_pp_kpath(text, sizeof text, &kp), 0);
}

class PrintPathTest : public ContractTest {};

TEST_F(PrintPathTest, EntriesLeavesAndTags) {
  Configuration configuration;
  configuration.targets = {{"t1"}};
  handler_.Follow("/snmp/target", 1);
  handler_.next = ITER_RECURSE;
  std::vector<std::string> texts;
  handler_.on_change = [&texts](confd_hkeypath_t* kp) {
    char text[64] = {};
    const int length = confd_pp_kpath(text, sizeof text, kp);
    EXPECT_EQ(length, static_cast<int>(strlen(text)));
    texts.emplace_back(text);
    char cut[5] = "####";
    EXPECT_EQ(confd_pp_kpath(cut, sizeof cut, kp), length);
    EXPECT_STREQ(cut, "/snm");
    if (kp->v[0][0].type == C_XMLTAG) texts.push_back(Print(kp->v[0][0]));
  };
  Start(configuration, {&handler_});
  configuration.targets[0].port = 163;
  EXPECT_TRUE(platform_->Commit(configuration));
  EXPECT_THAT(texts, ElementsAre("/snmp/target{t1}", "/snmp/target{t1}/udp-port", "udp-port"));
}

}  // namespace
}  // namespace contract
