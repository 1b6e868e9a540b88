// The maapi_ calls within a transaction: values, writes, the cursor and each error.
#include <gmock/gmock.h>

#include "confd/error.h"
#include "confd/value_text.h"
#include "confd_maapi.h"
#include "recorder.h"

namespace host::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kExtra[] = "/confd_dyncfg:confdConfig/snmpAgent/extraIpPorts";
constexpr char kAddresses[] = "/config/interface/l3{one}/ipv6/address";

std::string Instance() { return host::ReadFile(TEST_FOLDER "/instances/valid/interfaces.json"); }

class MaapiTest : public ::testing::Test {
 protected:
  /// Runs `in_hook` once, in the first call of a transaction on the instance.
  void InHook(const std::function<void(int handle)>& in_hook) {
    int runs = 0;
    host_.hooks.action = [&](int handle, const host::HookCall&) {
      if (runs++ == 0) in_hook(handle);
      return CONFD_OK;
    };
    host_.Replace(Instance());
    EXPECT_GT(runs, 0);
  }

  static void ExpectError(int result, int code, const std::string& text) {
    EXPECT_EQ(result, CONFD_ERR);
    EXPECT_EQ(confd_errno, code) << confd_lasterr();
    EXPECT_THAT(confd_lasterr(), HasSubstr(text));
    common::ClearError();
  }

  TestFolder folder_;
  HookedEngine host_{folder_};
};

TEST_F(MaapiTest, ReadsTheCandidate) {
  InHook([](int handle) {
    char vrf[4] = "---";
    EXPECT_EQ(maapi_get_str_elem(1, handle, vrf, 4, "/config/interface/l3{%s}/vrf", "one"), 0);
    EXPECT_STREQ(vrf, "red");
    EXPECT_EQ(maapi_get_str_elem(1, handle, vrf, 3, "/config/interface/l3{%s}/vrf", "one"), 0);
    EXPECT_STREQ(vrf, "re");
    uint16_t port = 0;
    EXPECT_EQ(maapi_get_u_int16_elem(1, handle, &port, "%s/udp-port", ListenPath("eth0").c_str()),
              0);
    EXPECT_EQ(port, 65535);
    uint32_t index = 0;
    EXPECT_EQ(maapi_get_u_int32_elem(1, handle, &index,
                                     "/metacli-internal:internal/metacli-internal:vrf-config/"
                                     "stringTOindex{%s}/vrf-idx",
                                     "last"),
              0);
    EXPECT_EQ(index, 4294967295U);
    int enabled = 7;
    EXPECT_EQ(maapi_get_bool_elem(1, handle, &enabled, "/config/interface/l3{one}/ipv6/enable"), 0);
    EXPECT_EQ(enabled, 1);
    confd_ipv4_prefix ipv4 = {};
    EXPECT_EQ(
        maapi_get_ipv4_and_plen_elem(1, handle, &ipv4, "/config/interface/l3{one}/ipv4/address/ip"),
        0);
    EXPECT_EQ(ntohl(ipv4.ip.s_addr), 0x0A000001U);
    EXPECT_EQ(ipv4.len, 24);
  });
}

TEST_F(MaapiTest, CursorVisitsTheEntriesInOrder) {
  std::vector<std::string> seen;
  InHook([&seen](int handle) {
    maapi_cursor cursor = {};
    ASSERT_EQ(maapi_init_cursor(1, handle, &cursor, kAddresses), CONFD_OK);
    while (maapi_get_next(&cursor) == CONFD_OK && cursor.n > 0) {
      confd_ipv6_prefix ipv6 = {};
      ASSERT_EQ(maapi_get_ipv6_and_plen_elem(1, handle, &ipv6,
                                             "/config/interface/l3{%s}/ipv6/address{%x}/ip", "one",
                                             &cursor.keys[0]),
                CONFD_OK);
      seen.push_back(common::ValueText(cursor.keys[0]) + " " +
                     std::to_string(ipv6.ip6.s6_addr[15]) + "/" + std::to_string(ipv6.len));
    }
    maapi_destroy_cursor(&cursor);
    maapi_destroy_cursor(&cursor);
  });
  EXPECT_THAT(seen, ElementsAre("2 2/64", "1 1/128"));
}

TEST_F(MaapiTest, CursorWithoutEntriesOrList) {
  InHook([](int handle) {
    maapi_cursor cursor = {};
    EXPECT_EQ(maapi_init_cursor(1, handle, &cursor, "/config/interface/l3{three}/ipv6/address"), 0);
    EXPECT_EQ(maapi_get_next(&cursor), CONFD_OK);
    EXPECT_EQ(cursor.n, 0);
    maapi_destroy_cursor(&cursor);
    ExpectError(maapi_init_cursor(1, handle, &cursor, "/config/interface/l3{one}/vrf"),
                CONFD_ERR_BADPATH, "is no list");
    ExpectError(maapi_get_next(&cursor), CONFD_ERR_NOSESSION, "cursor");
    maapi_destroy_cursor(&cursor);
  });
}

TEST_F(MaapiTest, ReadErrorsLeaveTheResult) {
  InHook([](int handle) {
    uint16_t port = 5;
    ExpectError(
        maapi_get_u_int16_elem(1, handle, &port, "%s/redir-port", ListenPath("eth0").c_str()),
        CONFD_ERR_NOEXISTS, "{eth0}/redir-port");
    ExpectError(maapi_get_u_int16_elem(1, handle, &port, "/config/interface/l3{one}/vrf"),
                CONFD_ERR_BADTYPE, "another type");
    ExpectError(maapi_get_u_int16_elem(1, handle, &port, "/config/typo"), CONFD_ERR_BADPATH,
                "typo");
    ExpectError(maapi_get_u_int16_elem(1, handle + 1, &port, "/config/interface/l3{one}/vrf"),
                CONFD_ERR_NOSESSION, "no transaction");
    EXPECT_EQ(port, 5);
  });
}

TEST_F(MaapiTest, NoTransactionOutsideOfHooks) {
  int last_handle = 0;
  InHook([&last_handle](int handle) { last_handle = handle; });
  ExpectError(maapi_create(1, last_handle, "%s{10.0.0.1:1}", kExtra), CONFD_ERR_NOSESSION,
              "no transaction");
}

TEST_F(MaapiTest, CreateAndDelete) {
  InHook([](int handle) {
    EXPECT_EQ(maapi_create(1, handle, "%s{%s:%u}", kExtra, "2001:db8::1", 161U), CONFD_OK);
    ExpectError(maapi_create(1, handle, "%s{2001:db8::1:161}", kExtra), CONFD_ERR_ALREADY_EXISTS,
                "2001:db8::1:161");
    EXPECT_EQ(maapi_create(1, handle, "%s{10.0.0.9:161}", kExtra), CONFD_OK);
    EXPECT_EQ(maapi_delete(1, handle, "%s{2001:db8::1:161}", kExtra), CONFD_OK);
    ExpectError(maapi_delete(1, handle, "%s{2001:db8::1:161}", kExtra), CONFD_ERR_NOEXISTS,
                "does not exist");
    for (const char* key : {"10.0.0.1:0", "10.0.0.1", "a\"b", "a\"'b"}) {
      ExpectError(maapi_create(1, handle, "%s{%s}", kExtra, key), CONFD_ERR_BADTYPE, key);
    }
    ExpectError(maapi_create(1, handle, "/config/typo{a}"), CONFD_ERR_BADPATH, "typo");
    ExpectError(maapi_create(1, handle, "%s", kExtra), CONFD_ERR_BADPATH, "only entries");
    ExpectError(maapi_create(1, handle, "%s[0]", "/config/interface/l3[3]/ipv6/address"),
                CONFD_ERR_BADPATH, "not positions");
    ExpectError(maapi_delete(1, handle, "/config/interface/l3"), CONFD_ERR_BADPATH,
                "entry by entry");
    ExpectError(maapi_delete(1, handle, "/config/interface/l3{one}/name"), CONFD_ERR_BADPATH,
                "keys are deleted");
  });
  EXPECT_THAT(host_.RunningText(),
              AllOf(HasSubstr("10.0.0.9:161"), Not(HasSubstr("2001:db8::1:161"))));
}

TEST_F(MaapiTest, CreateMakesWhatIsMissingAbove) {
  InHook([](int handle) {
    EXPECT_EQ(maapi_create(1, handle, "/config/interface/l3{%s}/ipv6/address{1}", "new"), CONFD_OK);
    EXPECT_EQ(maapi_set_elem2(1, handle, "2001:db8::9/64",
                              "/config/interface/l3{new}/ipv6/address{1}/ip"),
              CONFD_OK);
  });
  EXPECT_THAT(host_.RunningText(), HasSubstr("2001:db8::9/64"));
}

TEST_F(MaapiTest, Set) {
  InHook([](int handle) {
    const std::string eth0 = ListenPath("eth0");
    EXPECT_EQ(maapi_set_elem2(1, handle, "60600", "%s/redir-port", eth0.c_str()), CONFD_OK);
    EXPECT_EQ(maapi_set_elem2(1, handle, "60600", "%s/redir-port", eth0.c_str()), CONFD_OK);
    EXPECT_EQ(maapi_set_elem2(1, handle, "60601", "%s/redir-port", eth0.c_str()), CONFD_OK);
    ExpectError(maapi_set_elem2(1, handle, "65536", "%s/redir-port", eth0.c_str()),
                CONFD_ERR_BADTYPE, "redir-port");
    ExpectError(maapi_set_elem2(1, handle, "x", "%s/redir-port", ListenPath("L3-x").c_str()),
                CONFD_ERR_BADTYPE, "redir-port");
    ExpectError(maapi_set_elem2(1, handle, "1", "%s/redir-port", ListenPath("none").c_str()),
                CONFD_ERR_NOEXISTS, "{none}/redir-port");
    ExpectError(maapi_set_elem2(1, handle, "1", "%s/typo", eth0.c_str()), CONFD_ERR_BADPATH,
                "typo");
    ExpectError(maapi_set_elem2(1, handle, "eth1", "%s/name", eth0.c_str()), CONFD_ERR_BADPATH,
                "no keys");
  });
  EXPECT_THAT(host_.RunningText(), HasSubstr("\"redir-port\": 60601"));
}

}  // namespace
}  // namespace host::test
