#include <string>

#include "contract_test.h"

namespace contract {
namespace {

using testing::HasSubstr;

class CdbTest : public ContractTest {
 protected:
  /// The value at `path` in a session of its own.
  common::OwnedValue Get(const std::string& path) {
    const VkConfdCdbSession session(handler_.Interface(), CDB_RUNNING, true);
    confd_value_t value;
    if (cdb_get(session.Socket(), &value, "%s", path.c_str()) != CONFD_OK) return {};
    return common::OwnedValue(value);
  }
};

TEST_F(CdbTest, ValuesHaveTheirTypes) {
  Start({true, "127.0.0.2", 1161, {"10.0.0.1:161"}, {}}, {&handler_});
  EXPECT_EQ(Get(kEnabled).Value().type, C_BOOL);
  EXPECT_EQ(Get(kEnabled).Value().val.boolean, 1);
  EXPECT_EQ(Get(kIp).Value().type, C_IPV4);
  EXPECT_EQ(Get(kPort).Value().type, C_UINT16);
  EXPECT_EQ(Get(kPort).Value().val.u16, 1161);
  const common::OwnedValue extra = Get(kExtra);
  ASSERT_EQ(extra.Value().type, C_LIST);
  ASSERT_EQ(extra.Value().val.list.size, 1U);
  EXPECT_EQ(extra.Value().val.list.ptr[0].type, C_BUF);
}

TEST_F(CdbTest, TypedReadsTakeTheirTypeOnly) {
  Start({true, "127.0.0.1", 1161, {}, {"public"}}, {&handler_});
  const VkConfdCdbSession session(handler_.Interface(), CDB_RUNNING, true);
  uint16_t port = 0;
  EXPECT_EQ(cdb_get_u_int16(session.Socket(), &port, "%s", kPort), CONFD_OK);
  EXPECT_EQ(port, 1161);
  int enabled = 0;
  EXPECT_EQ(cdb_get_bool(session.Socket(), &enabled, "%s", kEnabled), CONFD_OK);
  EXPECT_EQ(enabled, 1);
  char name[4] = {};
  EXPECT_EQ(
      cdb_get_str(session.Socket(), name, sizeof name, "%s[0]/snmpCommunityName", kCommunities),
      CONFD_OK);
  EXPECT_STREQ(name, "pub") << "cut to its buffer";
  uint32_t number = 7;
  EXPECT_EQ(cdb_get_u_int32(session.Socket(), &number, "%s", kPort), CONFD_ERR);
  EXPECT_EQ(confd_errno, CONFD_ERR_BADTYPE);
  EXPECT_EQ(number, 7U) << "untouched";
}

TEST_F(CdbTest, AddressOfTheOtherFamily) {
  Start({false, "2001:db8::1", 161, {}, {}}, {&handler_});
  EXPECT_EQ(Get(kIp).Value().type, C_IPV6);
  EXPECT_EQ(Read(CDB_RUNNING, kIp), "2001:db8::1");
}

TEST_F(CdbTest, LeafListPrintsAsWordsBetweenBrackets) {
  Start({false, "127.0.0.1", 161, {"10.0.0.1:161", "2001:db8::1:161"}, {}}, {&handler_});
  EXPECT_EQ(Read(CDB_RUNNING, kExtra), "[ 10.0.0.1:161 2001:db8::1:161 ]");
}

TEST_F(CdbTest, LeafListWithoutEntriesReadsAsAnEmptyList) {
  Start({}, {&handler_});
  EXPECT_EQ(Read(CDB_RUNNING, kExtra), "[ ]");
}

TEST_F(CdbTest, AddressesKeepTheirHostBitsAndPrefixLength) {
  Configuration configuration;
  configuration.l3 = {{"eth0", "", "", "10.0.0.1/24", {"2001:db8::1/64"}}};
  Start(configuration, {&handler_});
  const VkConfdCdbSession session(handler_.Interface(), CDB_RUNNING, true);
  const std::string row = "/config/interface/l3{eth0}/";
  confd_ipv4_prefix v4 = {};
  EXPECT_EQ(cdb_get_ipv4_and_plen(session.Socket(), &v4, "%sipv4/address/ip", row.c_str()),
            CONFD_OK);
  EXPECT_EQ(ntohl(v4.ip.s_addr), 0x0a000001U);
  EXPECT_EQ(v4.len, 24);
  confd_ipv6_prefix v6 = {};
  EXPECT_EQ(cdb_get_ipv6_and_plen(session.Socket(), &v6, "%sipv6/address[0]/ip", row.c_str()),
            CONFD_OK);
  EXPECT_EQ(v6.ip6.s6_addr[15], 1);
  EXPECT_EQ(v6.len, 64);
  EXPECT_EQ(cdb_get_ipv4_and_plen(session.Socket(), &v4, "%sipv6/address[0]/ip", row.c_str()),
            CONFD_ERR);
  EXPECT_EQ(confd_errno, CONFD_ERR_BADTYPE);
  EXPECT_EQ(v4.len, 24) << "untouched";
}

TEST_F(CdbTest, RowsAreReadByKeyAndByPosition) {
  Start({false, "127.0.0.1", 161, {}, {"public", "ops"}}, {&handler_});
  const VkConfdCdbSession session(handler_.Interface(), CDB_RUNNING, true);
  EXPECT_EQ(cdb_num_instances(session.Socket(), "%s", kCommunities), 2);
  confd_value_t value;
  ASSERT_EQ(cdb_get(session.Socket(), &value, "%s[%d]/snmpCommunityName", kCommunities, 1),
            CONFD_OK);
  EXPECT_EQ(common::ValueText(common::OwnedValue(value).Value()), "ops");
  ASSERT_EQ(cdb_get(session.Socket(), &value, "%s{%s}/snmpCommunityName", kCommunities, "public"),
            CONFD_OK);
  EXPECT_EQ(common::ValueText(common::OwnedValue(value).Value()), "public");
}

TEST_F(CdbTest, ListWithoutEntriesHasNone) {
  Start({}, {&handler_});
  const VkConfdCdbSession session(handler_.Interface(), CDB_RUNNING, true);
  EXPECT_EQ(cdb_num_instances(session.Socket(), "%s", kCommunities), 0);
}

TEST_F(CdbTest, MissingEntryDoesNotExist) {
  Start({false, "127.0.0.1", 161, {}, {"public"}}, {&handler_});
  const VkConfdCdbSession session(handler_.Interface(), CDB_RUNNING, true);
  confd_value_t value = common::MakeUint16(7);
  EXPECT_EQ(cdb_get(session.Socket(), &value, "%s[1]/snmpCommunityName", kCommunities), CONFD_ERR);
  EXPECT_EQ(confd_errno, CONFD_ERR_NOEXISTS);
  EXPECT_THAT(confd_lasterr(), HasSubstr("snmpCommunityName"));
  EXPECT_EQ(value.val.u16, 7) << "untouched";
}

TEST_F(CdbTest, ClosedSessionIsNone) {
  Start({}, {&handler_});
  int socket = 0;
  {
    const VkConfdCdbSession session(handler_.Interface(), CDB_RUNNING, true);
    socket = session.Socket();
  }
  confd_value_t value;
  EXPECT_EQ(cdb_get(socket, &value, "%s", kPort), CONFD_ERR);
  EXPECT_EQ(confd_errno, CONFD_ERR_NOSESSION);
  EXPECT_EQ(cdb_num_instances(socket, "%s", kCommunities), CONFD_ERR);
  EXPECT_EQ(confd_errno, CONFD_ERR_NOSESSION);
  EXPECT_STRNE(confd_lasterr(), "");
}

TEST_F(CdbTest, SessionsThatCannotBeOpenedThrow) {
  Start({}, {&handler_});
  EXPECT_THROW(VkConfdCdbSession(nullptr, CDB_RUNNING, true), std::exception);
  EXPECT_THROW(VkConfdCdbSession(handler_.Interface(), CDB_PRE_COMMIT_RUNNING, true),
               std::exception);
}

TEST_F(CdbTest, LoadingReadsOnTheSocketThatItIsGiven) {
  std::string text;
  handler_.on_load = [&text](int cdb_socket) {
    confd_value_t value;
    ASSERT_EQ(cdb_get(cdb_socket, &value, "%s", kPort), CONFD_OK);
    text = common::ValueText(common::OwnedValue(value).Value());
  };
  Start({false, "127.0.0.1", 1161, {}, {}}, {&handler_});
  EXPECT_EQ(text, "1161");
}

TEST_F(CdbTest, TextsAreCutToTheirBuffer) {
  const common::OwnedValue value(common::MakeBuf("0123456789"));
  char buffer[5] = "####";
  EXPECT_EQ(confd_pp_value(buffer, sizeof buffer, &value.Value()), 10);
  EXPECT_STREQ(buffer, "0123");
  buffer[0] = '#';
  EXPECT_EQ(confd_pp_value(buffer, 0, &value.Value()), 10);
  EXPECT_EQ(buffer[0], '#');
}

}  // namespace
}  // namespace contract
