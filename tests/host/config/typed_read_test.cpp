// The cdb_ reads of one type: values and each error.
#include <gmock/gmock.h>

#include "confd/error.h"
#include "recorder.h"
#include "vkconfd/cdb_session.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;

class Connection : public VkConfdInterface {
 public:
  int MaapiSocket() override { return 0; }
};

class TypedReadTest : public ::testing::Test {
 protected:
  TypedReadTest() {
    host_.Replace(host::ReadFile(TEST_FOLDER "/instances/valid/interfaces.json"));
    session_ = std::make_unique<VkConfdCdbSession>(&connection_, CDB_RUNNING, true);
  }

  int Socket() const { return session_->Socket(); }

  static void ExpectError(int result, int code, const std::string& text) {
    EXPECT_EQ(result, CONFD_ERR);
    EXPECT_EQ(confd_errno, code);
    EXPECT_THAT(confd_lasterr(), HasSubstr(text));
    common::ClearError();
  }

  TestFolder folder_;
  Connection connection_;
  HookedEngine host_{folder_};
  std::unique_ptr<VkConfdCdbSession> session_;
};

TEST_F(TypedReadTest, Values) {
  char vrf[3] = {};
  EXPECT_EQ(cdb_get_str(Socket(), vrf, 3, "/config/interface/l3[%d]/vrf", 0), CONFD_OK);
  EXPECT_STREQ(vrf, "re");
  EXPECT_EQ(cdb_get_str(Socket(), vrf, 0, "/config/interface/l3[%d]/vrf", 0), CONFD_OK);
  uint16_t port = 0;
  EXPECT_EQ(cdb_get_u_int16(Socket(), &port, "%s/udp-port", ListenPath("eth0").c_str()), CONFD_OK);
  EXPECT_EQ(port, 65535);
  uint32_t index = 0;
  EXPECT_EQ(
      cdb_get_u_int32(Socket(), &index, "/internal/vrf-config/stringTOindex{%s}/vrf-idx", "red"),
      CONFD_OK);
  EXPECT_EQ(index, 256U);
  int enabled = 7;
  EXPECT_EQ(cdb_get_bool(Socket(), &enabled, "/config/interface/l3{two}/ipv6/enable"), CONFD_OK);
  EXPECT_EQ(enabled, 0);
}

TEST_F(TypedReadTest, PrefixesKeepTheirHostPart) {
  confd_ipv4_prefix ipv4 = {};
  EXPECT_EQ(cdb_get_ipv4_and_plen(Socket(), &ipv4, "/config/interface/l3{one}/ipv4/address/ip"),
            CONFD_OK);
  EXPECT_EQ(ntohl(ipv4.ip.s_addr), 0x0A000001U);
  EXPECT_EQ(ipv4.len, 24);
  confd_ipv6_prefix ipv6 = {};
  EXPECT_EQ(
      cdb_get_ipv6_and_plen(Socket(), &ipv6, "/config/interface/l3{%s}/ipv6/address[0]/ip", "one"),
      CONFD_OK);
  EXPECT_EQ(ipv6.ip6.s6_addr[15], 2);
  EXPECT_EQ(ipv6.len, 64);
}

TEST_F(TypedReadTest, ErrorsLeaveTheResult) {
  int truth = 7;
  uint16_t port = 5;
  confd_ipv4_prefix ipv4 = {{1}, 2};
  ExpectError(cdb_get_bool(Socket(), &truth, "/config/interface/l3{three}/ipv6/enable"),
              CONFD_ERR_NOEXISTS, "{three}/ipv6/enable");
  ExpectError(cdb_get_bool(Socket(), &truth, "/config/interface/l3{one}/vrf"), CONFD_ERR_BADTYPE,
              "another type");
  ExpectError(
      cdb_get_ipv4_and_plen(Socket(), &ipv4, "/config/interface/l3{one}/ipv6/address{1}/ip"),
      CONFD_ERR_BADTYPE, "another type");
  ExpectError(cdb_get_u_int16(Socket(), &port, "/config/interface"), CONFD_ERR_BADPATH, "no leaf");
  const int socket = Socket();
  session_.reset();
  ExpectError(cdb_get_u_int16(socket, &port, "%s/udp-port", ListenPath("eth0").c_str()),
              CONFD_ERR_NOSESSION, "no open session");
  EXPECT_EQ(truth, 7);
  EXPECT_EQ(port, 5);
  EXPECT_EQ(ipv4.len, 2);
}

}  // namespace
}  // namespace host::test
