// Reads and writes of a transaction.

#include <arpa/inet.h>

#include "transaction_test.h"

namespace contract {
namespace {

using testing::HasSubstr;

constexpr char kListening[] = "/snmp/agent/listen/interface";
constexpr char kIndexes[] = "/metacli-internal:internal/metacli-internal:vrf-config/stringTOindex";

/// The text at a path; "error <confd_errno>" when it cannot be read.
std::string Text(int sock, int th, const std::string& path) {
  char text[64] = {};
  if (maapi_get_str_elem(sock, th, text, sizeof text, "%s", path.c_str()) != CONFD_OK) {
    return "error " + std::to_string(confd_errno);
  }
  return text;
}

/// The port at a path; minus confd_errno when it cannot be read.
int Port(int sock, int th, const std::string& path) {
  uint16_t port = 0;
  if (maapi_get_u_int16_elem(sock, th, &port, "%s", path.c_str()) != CONFD_OK) return -confd_errno;
  return port;
}

class MaapiTest : public TransactionTest {};

TEST_F(MaapiTest, EveryTypeIsReadAsItIs) {
  EXPECT_TRUE(Transact([](int sock, int th) {
    EXPECT_EQ(Text(sock, th, "/config/interface/l3{eth0}/vrf"), "red");
    EXPECT_EQ(Port(sock, th, std::string(kListening) + "{kept}/udp-port"), 161);
    uint32_t index = 0;
    EXPECT_EQ(maapi_get_u_int32_elem(sock, th, &index, "%s{%s}/vrf-idx", kIndexes, "red"),
              CONFD_OK);
    EXPECT_EQ(index, 256U);
    int enabled = 7;
    EXPECT_EQ(maapi_get_bool_elem(sock, th, &enabled, "/config/interface/l3{eth0}/ipv6/enable"),
              CONFD_OK);
    EXPECT_EQ(enabled, 1);
    confd_ipv4_prefix v4 = {};
    EXPECT_EQ(
        maapi_get_ipv4_and_plen_elem(sock, th, &v4, "/config/interface/l3{eth0}/ipv4/address/ip"),
        CONFD_OK);
    EXPECT_EQ(v4.ip.s_addr, htonl(0x0a000001)) << "host bits are kept";
    EXPECT_EQ(v4.len, 24);
    confd_ipv6_prefix v6 = {};
    const common::OwnedValue key(common::MakeUint8(1));
    EXPECT_EQ(
        maapi_get_ipv6_and_plen_elem(sock, th, &v6, "/config/interface/l3{%s}/ipv6/address{%x}/ip",
                                     "eth0", &key.Value()),
        CONFD_OK);
    char text[INET6_ADDRSTRLEN] = {};
    EXPECT_STREQ(inet_ntop(AF_INET6, &v6.ip6, text, sizeof text), "2001:db8::1");
    EXPECT_EQ(v6.len, 56);
  }));
  EXPECT_EQ(journal_.size(), 4U) << "the step has run";
}

TEST_F(MaapiTest, ReadsSeeTheTransaction) {
  EXPECT_TRUE(Transact([this](int sock, int th) {
    EXPECT_EQ(Port(sock, th, std::string(kListening) + "{new}/udp-port"), 1161);
    EXPECT_EQ(Read(CDB_RUNNING, "/snmp/agent/listen/interface{new}/udp-port"), "error 1");
  }));
}

TEST_F(MaapiTest, TextIsCutToItsBuffer) {
  EXPECT_TRUE(Transact([](int sock, int th) {
    char text[4] = "###";
    EXPECT_EQ(maapi_get_str_elem(sock, th, text, 3, "/config/interface/l3{eth0}/vrf"), CONFD_OK);
    EXPECT_STREQ(text, "re");
    text[0] = '#';
    EXPECT_EQ(maapi_get_str_elem(sock, th, text, 0, "/config/interface/l3{eth0}/vrf"), CONFD_OK);
    EXPECT_EQ(text[0], '#');
  }));
}

TEST_F(MaapiTest, WhatIsNotThereOrOfAnotherTypeStaysUntouched) {
  EXPECT_TRUE(Transact([](int sock, int th) {
    char text[4] = "old";
    ExpectRefused(maapi_get_str_elem(sock, th, text, 4, "/config/interface/l3{eth1}/vrf"),
                  CONFD_ERR_NOEXISTS);
    ExpectRefused(maapi_get_str_elem(sock, th, text, 4, "%s{kept}/udp-port", kListening),
                  CONFD_ERR_BADTYPE);
    EXPECT_STREQ(text, "old");
    uint16_t port = 7;
    ExpectRefused(maapi_get_u_int16_elem(sock, th, &port, "%s{none}/udp-port", kListening),
                  CONFD_ERR_NOEXISTS);
    ExpectRefused(maapi_get_u_int16_elem(sock, th, &port, "/config/interface/l3{eth0}/vrf"),
                  CONFD_ERR_BADTYPE);
    EXPECT_EQ(port, 7);
    uint32_t index = 7;
    ExpectRefused(maapi_get_u_int32_elem(sock, th, &index, "%s{kept}/udp-port", kListening),
                  CONFD_ERR_BADTYPE);
    EXPECT_EQ(index, 7U);
    int flag = 7;
    ExpectRefused(maapi_get_bool_elem(sock, th, &flag, "/config/interface/l3{eth1}/ipv6/enable"),
                  CONFD_ERR_NOEXISTS);
    EXPECT_EQ(flag, 7);
    confd_ipv4_prefix v4 = {{7}, 7};
    ExpectRefused(maapi_get_ipv4_and_plen_elem(sock, th, &v4, "/config/interface/l3{eth0}/vrf"),
                  CONFD_ERR_BADTYPE);
    EXPECT_EQ(v4.len, 7);
    confd_ipv6_prefix v6 = {{}, 7};
    ExpectRefused(maapi_get_ipv6_and_plen_elem(sock, th, &v6,
                                               "/config/interface/l3{eth0}/ipv6/address{9}/ip"),
                  CONFD_ERR_NOEXISTS);
    EXPECT_EQ(v6.len, 7);
  }));
}

TEST_F(MaapiTest, TextThatIsNoPathIsRefused) {
  EXPECT_TRUE(Transact([](int sock, int th) {
    char text[4] = {};
    ExpectRefused(maapi_get_str_elem(sock, th, text, 4, "/config/interface/l3{eth0"),
                  CONFD_ERR_BADPATH);
    ExpectRefused(maapi_create(sock, th, "%s{", kListening), CONFD_ERR_BADPATH);
    ExpectRefused(maapi_delete(sock, th, "%s", ""), CONFD_ERR_BADPATH);
    ExpectRefused(maapi_set_elem2(sock, th, "1", "no path"), CONFD_ERR_BADPATH);
  }));
}

TEST_F(MaapiTest, OtherHandleReachesNoTransaction) {
  EXPECT_TRUE(Transact([](int sock, int th) {
    char text[4] = {};
    uint16_t port = 0;
    const int other = th + 1;
    ExpectRefused(maapi_get_str_elem(sock, other, text, 4, "/config/interface/l3{eth0}/vrf"),
                  CONFD_ERR_NOSESSION);
    ExpectRefused(maapi_get_u_int16_elem(sock, other, &port, "%s{kept}/udp-port", kListening),
                  CONFD_ERR_NOSESSION);
    ExpectRefused(maapi_create(sock, other, "%s{10.0.0.9:161}", kExtra), CONFD_ERR_NOSESSION);
    ExpectRefused(maapi_delete(sock, other, "%s{10.0.0.1:161}", kExtra), CONFD_ERR_NOSESSION);
    ExpectRefused(maapi_set_elem2(sock, other, "1", "%s{kept}/redir-port", kListening),
                  CONFD_ERR_NOSESSION);
  }));
  EXPECT_EQ(Read(CDB_RUNNING, kExtra), "[ 10.0.0.1:161 ]");
}

TEST_F(MaapiTest, EndedTransactionIsNone) {
  int socket = 0;
  int handle = 0;
  EXPECT_TRUE(Transact([&](int sock, int th) {
    socket = sock;
    handle = th;
  }));
  ExpectRefused(maapi_create(socket, handle, "%s{10.0.0.9:161}", kExtra), CONFD_ERR_NOSESSION);
}

TEST_F(MaapiTest, EntriesOfALeafListAreCreatedAndDeletedOnce) {
  EXPECT_TRUE(Transact([](int sock, int th) {
    EXPECT_EQ(maapi_create(sock, th, "%s{%s:%u}", kExtra, "2001:db8::1", 161U), CONFD_OK);
    ExpectRefused(maapi_create(sock, th, "%s{2001:db8::1:161}", kExtra), CONFD_ERR_ALREADY_EXISTS);
    EXPECT_THAT(confd_lasterr(), HasSubstr("2001:db8::1:161"));
    EXPECT_EQ(maapi_delete(sock, th, "%s{10.0.0.1:161}", kExtra), CONFD_OK);
    ExpectRefused(maapi_delete(sock, th, "%s{10.0.0.1:161}", kExtra), CONFD_ERR_NOEXISTS);
  }));
  EXPECT_EQ(Read(CDB_RUNNING, kExtra), "[ 2001:db8::1:161 ]");
}

TEST_F(MaapiTest, KeyThatIsNoneOfItsTypeIsRefused) {
  EXPECT_TRUE(Transact([](int sock, int th) {
    for (const char* key : {"nonsense", "10.0.0.9", "10.0.0.9:", "10.0.0.9:65536", ":161"}) {
      ExpectRefused(maapi_create(sock, th, "%s{%s}", kExtra, key), CONFD_ERR_BADTYPE);
    }
  }));
  EXPECT_EQ(Read(CDB_RUNNING, kExtra), "[ 10.0.0.1:161 ]");
}

TEST_F(MaapiTest, WhatIsMissingAboveAnEntryIsCreatedToo) {
  EXPECT_TRUE(Transact([](int sock, int th) {
    EXPECT_EQ(maapi_create(sock, th, "/config/interface/l3{eth2}/ipv6/address{1}"), CONFD_OK);
    ExpectRefused(maapi_create(sock, th, "/config/interface/l3{eth2}"), CONFD_ERR_ALREADY_EXISTS);
    EXPECT_EQ(maapi_delete(sock, th, "/config/interface/l3{eth2}/ipv6/address{1}"), CONFD_OK);
    EXPECT_EQ(maapi_delete(sock, th, "/config/interface/l3{eth2}"), CONFD_OK);
    ExpectRefused(maapi_delete(sock, th, "/config/interface/l3{eth2}"), CONFD_ERR_NOEXISTS);
  }));
}

TEST_F(MaapiTest, LeafIsSetFromTextAndDeleted) {
  const std::string leaf = std::string(kListening) + "{kept}/redir-port";
  EXPECT_TRUE(Transact([&leaf](int sock, int th) {
    EXPECT_EQ(Port(sock, th, leaf), -CONFD_ERR_NOEXISTS);
    EXPECT_EQ(maapi_set_elem2(sock, th, "60600", "%s", leaf.c_str()), CONFD_OK);
    EXPECT_EQ(Port(sock, th, leaf), 60600);
    EXPECT_EQ(maapi_set_elem2(sock, th, "60601", "%s", leaf.c_str()), CONFD_OK);
    EXPECT_EQ(Port(sock, th, leaf), 60601);
    EXPECT_EQ(maapi_delete(sock, th, "%s", leaf.c_str()), CONFD_OK);
    EXPECT_EQ(Port(sock, th, leaf), -CONFD_ERR_NOEXISTS);
    ExpectRefused(maapi_delete(sock, th, "%s", leaf.c_str()), CONFD_ERR_NOEXISTS);
  }));
}

TEST_F(MaapiTest, TextThatIsNoValueChangesNothing) {
  const std::string leaf = std::string(kListening) + "{kept}/udp-port";
  EXPECT_TRUE(Transact([&leaf](int sock, int th) {
    for (const char* text : {"65536", "-1", "port", ""}) {
      ExpectRefused(maapi_set_elem2(sock, th, text, "%s", leaf.c_str()), CONFD_ERR_BADTYPE);
    }
    EXPECT_EQ(Port(sock, th, leaf), 161);
  }));
}

TEST_F(MaapiTest, LeafOfAnEntryThatIsNotThereIsNotSet) {
  EXPECT_TRUE(Transact([](int sock, int th) {
    ExpectRefused(maapi_set_elem2(sock, th, "1", "%s{none}/redir-port", kListening),
                  CONFD_ERR_NOEXISTS);
    EXPECT_EQ(Port(sock, th, std::string(kListening) + "{none}/redir-port"), -CONFD_ERR_NOEXISTS);
  }));
}

}  // namespace
}  // namespace contract
