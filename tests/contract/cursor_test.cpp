// Walks over the entries of a list in a transaction.

#include "transaction_test.h"

namespace contract {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kAddresses[] = "/config/interface/l3{%s}/ipv6/address";

/// The keys from where the cursor stands to its end.
std::vector<std::string> Rest(maapi_cursor* cursor) {
  std::vector<std::string> keys;
  EXPECT_EQ(maapi_get_next(cursor), CONFD_OK);
  while (cursor->n > 0) {
    EXPECT_EQ(cursor->n, 1);
    keys.push_back(common::ValueText(cursor->keys[0]));
    EXPECT_EQ(maapi_get_next(cursor), CONFD_OK);
  }
  return keys;
}

class CursorTest : public TransactionTest {};

TEST_F(CursorTest, GoesOverTheEntriesInOrderAndStaysBehindTheLast) {
  EXPECT_TRUE(Transact([](int sock, int th) {
    maapi_cursor cursor = {};
    ASSERT_EQ(maapi_init_cursor(sock, th, &cursor, kAddresses, "eth0"), CONFD_OK);
    EXPECT_EQ(cursor.n, 0);
    EXPECT_THAT(Rest(&cursor), ElementsAre("0", "1"));
    EXPECT_THAT(Rest(&cursor), IsEmpty());
    maapi_destroy_cursor(&cursor);
  }));
}

TEST_F(CursorTest, KeyStandsInAPath) {
  EXPECT_TRUE(Transact([](int sock, int th) {
    maapi_cursor cursor = {};
    ASSERT_EQ(maapi_init_cursor(sock, th, &cursor, kAddresses, "eth0"), CONFD_OK);
    ASSERT_EQ(maapi_get_next(&cursor), CONFD_OK);
    ASSERT_EQ(cursor.n, 1);
    confd_ipv6_prefix prefix = {};
    EXPECT_EQ(maapi_get_ipv6_and_plen_elem(sock, th, &prefix,
                                           "/config/interface/l3{%s}/ipv6/address{%x}/ip", "eth0",
                                           &cursor.keys[0]),
              CONFD_OK);
    EXPECT_EQ(prefix.ip6.s6_addr[15], 2) << "the first address";
    maapi_destroy_cursor(&cursor);
  }));
}

TEST_F(CursorTest, ListWithoutEntriesHasNone) {
  EXPECT_TRUE(Transact([](int sock, int th) {
    for (const char* interface : {"eth1", "none"}) {
      maapi_cursor cursor = {};
      EXPECT_EQ(maapi_init_cursor(sock, th, &cursor, kAddresses, interface), CONFD_OK);
      EXPECT_THAT(Rest(&cursor), IsEmpty());
      maapi_destroy_cursor(&cursor);
    }
  }));
}

TEST_F(CursorTest, WritesDoNotMoveIt) {
  EXPECT_TRUE(Transact([](int sock, int th) {
    maapi_cursor cursor = {};
    ASSERT_EQ(maapi_init_cursor(sock, th, &cursor, kAddresses, "eth0"), CONFD_OK);
    EXPECT_EQ(maapi_delete(sock, th, "/config/interface/l3{eth0}/ipv6/address{0}"), CONFD_OK);
    EXPECT_THAT(Rest(&cursor), ElementsAre("0", "1"));
    maapi_destroy_cursor(&cursor);
    ASSERT_EQ(maapi_init_cursor(sock, th, &cursor, kAddresses, "eth0"), CONFD_OK);
    EXPECT_THAT(Rest(&cursor), ElementsAre("1"));
    maapi_destroy_cursor(&cursor);
  }));
}

TEST_F(CursorTest, RefusedCursorIsAtNoListAndIsDestroyed) {
  EXPECT_TRUE(Transact([](int sock, int th) {
    maapi_cursor cursor = {};
    ExpectRefused(maapi_init_cursor(sock, th + 1, &cursor, kAddresses, "eth0"),
                  CONFD_ERR_NOSESSION);
    EXPECT_EQ(maapi_get_next(&cursor), CONFD_ERR);
    EXPECT_EQ(cursor.n, 0);
    maapi_destroy_cursor(&cursor);
    ExpectRefused(maapi_init_cursor(sock, th, &cursor, "/config/interface/l3{"), CONFD_ERR_BADPATH);
    maapi_destroy_cursor(&cursor);
  }));
}

}  // namespace
}  // namespace contract
