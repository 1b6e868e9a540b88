// ConfD values and their texts, and the error state of the calls.

#include "confd/value_text.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "confd/error.h"
#include "confd/tag_table.h"
#include "delivery/change.h"
#include "key_path.h"
#include "nettypes/nettypes.h"

namespace {

using common::CopyValue;
using common::OwnedValue;
using common::ValueText;

std::string Text(const confd_value_t& value) { return ValueText(OwnedValue(value).Value()); }

OwnedValue ListOf(const std::vector<std::string>& texts) {
  std::vector<confd_value_t> elements;
  for (const std::string& text : texts) elements.push_back(common::MakeBuf(text));
  return OwnedValue(common::MakeList(elements));
}

TEST(ValueTextTest, NumbersAndFlags) {
  EXPECT_EQ("255", Text(common::MakeUint8(255)));
  EXPECT_EQ("65535", Text(common::MakeUint16(65535)));
  EXPECT_EQ("4294967295", Text(common::MakeUint32(4294967295U)));
  EXPECT_EQ("-2147483648", Text(common::MakeInt32(-2147483647 - 1)));
  EXPECT_EQ("true", Text(common::MakeBool(true)));
  EXPECT_EQ("false", Text(common::MakeBool(false)));
}

TEST(ValueTextTest, Texts) {
  EXPECT_EQ("", Text(common::MakeBuf("")));
  EXPECT_EQ("two words", Text(common::MakeBuf("two words")));
  const std::string with_zero("a\0b", 3);
  EXPECT_EQ(with_zero, Text(common::MakeBuf(with_zero)));
}

TEST(ValueTextTest, BytesInHexadecimalWithColonsBetween) {
  EXPECT_EQ("", Text(common::MakeBinary("")));
  EXPECT_EQ("0a", Text(common::MakeBinary("\n")));
  EXPECT_EQ("00:7f:80:ff:20", Text(common::MakeBinary(std::string("\0\x7f\x80\xff ", 5))));
}

TEST(ValueTextTest, Addresses) {
  in_addr v4 = {};
  in6_addr v6 = {};
  inet_pton(AF_INET, "192.0.2.1", &v4);
  inet_pton(AF_INET6, "2001:db8:0::1", &v6);
  EXPECT_EQ("192.0.2.1", Text(common::MakeIpv4(v4)));
  EXPECT_EQ("2001:db8::1", Text(common::MakeIpv6(v6)));
}

TEST(ValueTextTest, AddressesWithPrefixLength) {
  confd_ipv4_prefix v4 = {{}, 24};
  confd_ipv6_prefix v6 = {{}, 128};
  inet_pton(AF_INET, "10.0.0.1", &v4.ip);
  inet_pton(AF_INET6, "2001:db8::1", &v6.ip6);
  EXPECT_EQ("10.0.0.1/24", Text(common::MakeIpv4Prefix(v4)));
  EXPECT_EQ("2001:db8::1/128", Text(common::MakeIpv6Prefix(v6)));
  EXPECT_EQ("10.0.0.1", nettypes::IPv4Addr(v4.ip).to_string());
  EXPECT_EQ("2001:db8::1", nettypes::IPv6Addr(v6.ip6, nettypes::MACAddr()).to_string());
}

TEST(ValueTextTest, TagsByTheirName) {
  common::TagTable::Global().Define("valueTextTest", 0x7A1E0001);
  EXPECT_EQ("valueTextTest", Text(common::MakeTag(0x7A1E0001, 0)));
  EXPECT_THROW(Text(common::MakeTag(0x7A1E0002, 0)), std::invalid_argument);
}

TEST(ValueTextTest, ListsBetweenFreeStandingBrackets) {
  EXPECT_EQ("[ ]", ValueText(ListOf({}).Value()));
  EXPECT_EQ("[ a b:1 ]", ValueText(ListOf({"a", "b:1"}).Value()));
}

TEST(ValueTextTest, NoValueHasNoText) {
  EXPECT_THROW(ValueText({C_NOEXISTS, {}}), std::invalid_argument);
  EXPECT_THROW(ValueText({static_cast<confd_vtype>(0), {}}), std::invalid_argument);
}

TEST(ValueCopyTest, OwnsItsMemory) {
  OwnedValue list = ListOf({"a", "b"});
  const OwnedValue copy(CopyValue(list.Value()));
  memset(list.Value().val.list.ptr[0].val.buf.ptr, 'x', 1);
  EXPECT_EQ("[ a b ]", ValueText(copy.Value()));
  EXPECT_EQ("[ x b ]", ValueText(list.Value()));
}

TEST(ValueCopyTest, OfBytesOwnsItsMemory) {
  const OwnedValue bytes(common::MakeBinary(std::string("a\0b", 3)));
  const OwnedValue copy(CopyValue(bytes.Value()));
  bytes.Value().val.buf.ptr[0] = 'x';
  EXPECT_EQ(C_BINARY, copy.Value().type);
  EXPECT_EQ(3U, copy.Value().val.buf.size);
  EXPECT_EQ("61:00:62", ValueText(copy.Value()));
  const OwnedValue none(CopyValue(OwnedValue(common::MakeBinary("")).Value()));
  EXPECT_EQ(C_BINARY, none.Value().type);
  EXPECT_EQ(0U, none.Value().val.buf.size);
}

TEST(ValueCopyTest, OfAPlainValueIsTheSame) {
  EXPECT_EQ("7", ValueText(CopyValue(common::MakeUint16(7))));
}

TEST(ValueFreeTest, LeavesNoValueAndIsHarmlessTwice) {
  confd_value_t value = common::MakeBuf("text");
  confd_free_value(&value);
  EXPECT_EQ(C_NOEXISTS, value.type);
  confd_free_value(&value);
  confd_value_t number = common::MakeUint16(1);
  confd_free_value(&number);
  EXPECT_EQ(C_NOEXISTS, number.type);
  confd_value_t bytes = common::MakeBinary("bytes");
  confd_free_value(&bytes);
  EXPECT_EQ(C_NOEXISTS, bytes.type);
  confd_free_value(&bytes);
}

TEST(OwnedValueTest, MovesWhatItOwns) {
  OwnedValue from(common::MakeBuf("text"));
  OwnedValue to(std::move(from));
  EXPECT_EQ("text", ValueText(to.Value()));
  OwnedValue other(common::MakeBuf("other"));
  other = std::move(to);
  EXPECT_EQ("text", ValueText(other.Value()));
}

TEST(OwnedValueTest, IsNullForACallbackWhenNotSet) {
  OwnedValue none;
  EXPECT_FALSE(none.IsSet());
  EXPECT_EQ(nullptr, none.Get());
  OwnedValue set(common::MakeUint16(1));
  EXPECT_TRUE(set.IsSet());
  EXPECT_NE(nullptr, set.Get());
}

TEST(PrettyPrintTest, ReturnsTheWholeLengthAndCuts) {
  const OwnedValue value(common::MakeBuf("0123456789"));
  char text[12];
  memset(text, '#', sizeof text);
  EXPECT_EQ(10, confd_pp_value(text, 11, &value.Value()));
  EXPECT_STREQ("0123456789", text);
  EXPECT_EQ('#', text[11]) << "written behind the buffer";
  EXPECT_EQ(10, confd_pp_value(text, 10, &value.Value()));
  EXPECT_STREQ("012345678", text);
  EXPECT_EQ(10, confd_pp_value(text, 1, &value.Value()));
  EXPECT_STREQ("", text);
}

TEST(PrettyPrintTest, WritesNothingIntoNoRoom) {
  const OwnedValue value(common::MakeBuf("0123456789"));
  char text = '#';
  EXPECT_EQ(10, confd_pp_value(&text, 0, &value.Value()));
  EXPECT_EQ('#', text);
  EXPECT_EQ(10, confd_pp_value(nullptr, 0, &value.Value()));
}

TEST(PrettyPrintTest, IsEmptyAndNegativeForWhatHasNoText) {
  const confd_value_t none = {C_NOEXISTS, {}};
  char text[] = "####";
  EXPECT_GT(0, confd_pp_value(text, sizeof text, &none));
  EXPECT_STREQ("", text);
  confd_hkeypath_t kp = {};
  AddLevel(&kp, common::MakeTag(0x7A1E0003, 0));
  EXPECT_GT(0, confd_pp_kpath(text, sizeof text, &kp));
  EXPECT_STREQ("", text);
}

TEST(KeyPathTextTest, GoesFromTheRootToTheInnermostElement) {
  EXPECT_EQ("/a/b/c", common::KeyPathText(ElementPath({"a", "b", "c"})));
  EXPECT_EQ("", common::KeyPathText(confd_hkeypath_t{}));
}

TEST(KeyPathTextTest, KeysStandInBracesBehindTheirList) {
  const OwnedValue key(common::MakeBuf("k"));
  confd_hkeypath_t kp = EntryPath({"a", "list"}, key.Value());
  EXPECT_EQ("/a/list{k}", common::KeyPathText(kp));
  kp.v[0][1] = common::MakeUint16(2);
  EXPECT_EQ("/a/list{k 2}", common::KeyPathText(kp));
  char text[8];
  EXPECT_EQ(12, confd_pp_kpath(text, sizeof text, &kp));
  EXPECT_STREQ("/a/list", text);
}

TEST(KeyPathTextTest, TakesAllKeysOfALevel) {
  confd_hkeypath_t kp = ElementPath({"x", "list"});
  for (confd_value_t& key : kp.v[0]) key = common::MakeUint8(1);
  EXPECT_EQ("/x{1 1 1 1 1 1 1 1 1}", common::KeyPathText(kp));
}

TEST(ErrorTest, FailureIsRememberedUntilCleared) {
  common::ClearError();
  EXPECT_STREQ("", confd_lasterr());
  EXPECT_EQ(CONFD_ERR, common::Fail(CONFD_ERR_BADPATH, "no such path"));
  EXPECT_EQ(CONFD_ERR_BADPATH, confd_errno);
  EXPECT_STREQ("no such path", confd_lasterr());
  common::ClearError();
  EXPECT_EQ(0, confd_errno);
  EXPECT_STREQ("", confd_lasterr());
}

}  // namespace
