// The extra entries of an interface in no VRF, by its addresses.

#include "data_listen_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DataListenEntriesTest : public DataListenTest {
 protected:
  int Add() { return Callpoint().AddExtraEntryNoVrf(Context(), "l3-eth0", 161); }
  int Del() { return Callpoint().DelExtraEntryNoVrf(Context(), "l3-eth0", 161); }

  static std::string Adding(const std::string& text) {
    return data::Line("AddExtraEntryNoVrf", 10, text);
  }
  static std::string Deleting(const std::string& text) {
    return data::Line("DelExtraEntryNoVrf", 10, text);
  }

  /// Both addresses and a second IPv6 one.
  static void SetAddresses(fake::Database& database) {
    data::SetIpv4(database, "eth0", "192.0.2.1");
    data::SetIpv6Enable(database, "eth0", true);
    data::AddIpv6(database, "eth0", "first", "2001:db8::1");
    data::AddIpv6(database, "eth0", "second", "2001:db8::2");
  }
};

TEST_F(DataListenEntriesTest, OneEntryForIpv4AndOneForTheFirstIpv6Address) {
  SetAddresses(Candidate());
  EXPECT_EQ(CONFD_OK, Add());
  EXPECT_EQ("[ 192.0.2.1:161 2001:db8::1:161 ]", Extra());
  EXPECT_THAT(
      LogLines(),
      ElementsAre(Adding("Interface l3-eth0 (no VRF), port number 161"),
                  Adding("Read IPv4 192.0.2.1 for interface l3-eth0"),
                  data::Line("AddExtraEntryIPv4", 10, "New extraIpPorts entry: 192.0.2.1:161"),
                  Adding("Read IPv6 2001:db8::1 for interface l3-eth0"),
                  data::Line("AddExtraEntryIPv6", 10, "New extraIpPorts entry: 2001:db8::1:161")));
  EXPECT_THAT(device_.Events("maapi_get_ipv6"),
              ElementsAre("maapi_get_ipv6_and_plen_elem "
                          "/config/interface/l3{eth0}/ipv6/address{first}/ip"));
  EXPECT_EQ("maapi_destroy_cursor", device_.journal.back());
  EXPECT_EQ(0, device_.confd.open_cursors);
}

TEST_F(DataListenEntriesTest, EntriesThatAreThereAreSilent) {
  SetAddresses(Candidate());
  Add();
  ForgetRecords();
  EXPECT_EQ(CONFD_OK, Add());
  EXPECT_THAT(device_.Events("log AddExtraEntryIPv"), IsEmpty());
  EXPECT_EQ("[ 192.0.2.1:161 2001:db8::1:161 ]", Extra());
}

TEST_F(DataListenEntriesTest, NoAddressMeansNoEntryAndOneRecord) {
  EXPECT_EQ(CONFD_OK, Add());
  EXPECT_EQ(CONFD_OK, Del());
  EXPECT_THAT(LogLines(), ElementsAre(Adding("Interface l3-eth0 (no VRF), port number 161"),
                                      Deleting("Interface l3-eth0 (no VRF), port number 161")));
  EXPECT_THAT(Writes(), IsEmpty());
}

TEST_F(DataListenEntriesTest, Ipv6AddressesCountOnlyWhileIpv6IsEnabled) {
  data::AddIpv6(running_, "eth0", "first", "2001:db8::1");
  Begin();
  Add();
  Del();
  data::SetIpv6Enable(running_, "eth0", false);
  data::SetIpv6Enable(Candidate(), "eth0", false);
  Add();
  Del();
  EXPECT_THAT(Writes(), IsEmpty());
}

TEST_F(DataListenEntriesTest, EnabledIpv6WithoutAddressHasNoEntryAndItsCursorEnds) {
  data::SetIpv6Enable(running_, "eth0", true);
  Begin();
  EXPECT_EQ(CONFD_OK, Add());
  EXPECT_EQ("maapi_destroy_cursor", device_.journal.back());
  EXPECT_EQ(CONFD_OK, Del());
  EXPECT_THAT(Writes(), IsEmpty());
}

TEST_F(DataListenEntriesTest, CursorThatCannotBeMadeOrMovedHasNoKey) {
  SetAddresses(Candidate());
  device_.confd.RefuseNext("maapi_init_cursor", CONFD_ERR_EXTERNAL, "no cursor");
  EXPECT_EQ(CONFD_OK, Add());
  device_.confd.RefuseNext("maapi_get_next", CONFD_ERR_EXTERNAL, "no next");
  EXPECT_EQ(CONFD_OK, Add());
  EXPECT_EQ("[ 192.0.2.1:161 ]", Extra());
  EXPECT_EQ(0, device_.confd.open_cursors);
}

TEST_F(DataListenEntriesTest, DeletionReadsTheRunningAddresses) {
  SetAddresses(running_);
  Begin();
  SetAddresses(Candidate());
  Add();
  data::SetIpv4(Candidate(), "eth0", "192.0.2.9");
  ForgetRecords();
  EXPECT_EQ(CONFD_OK, Del());
  EXPECT_EQ("[ ]", Extra());
  EXPECT_THAT(LogLines(), ElementsAre(Deleting("Interface l3-eth0 (no VRF), port number 161"),
                                      Deleting("Read IPv4 192.0.2.1 for interface l3-eth0"),
                                      Deleting("Removed extraIpPorts entry: 192.0.2.1:161"),
                                      Deleting("Read IPv6 2001:db8::1 for interface l3-eth0"),
                                      Deleting("Removed extraIpPorts entry: 2001:db8::1:161")));
  EXPECT_EQ("session open 1", device_.journal.front());
  EXPECT_EQ("session close", device_.journal.back());
}

TEST_F(DataListenEntriesTest, EntriesThatAreGoneAreLoggedAsRemoved) {
  SetAddresses(running_);
  Begin();
  EXPECT_EQ(CONFD_OK, Del());
  EXPECT_EQ(2U, device_.Events("log DelExtraEntryNoVrf: Removed extraIpPorts entry").size());
}

TEST_F(DataListenEntriesTest, VrfIsSeenInItsOwnDatabase) {
  data::SetVrf(Candidate(), "eth0");
  const int socket = device_.confd.OpenSession(CDB_RUNNING);
  EXPECT_FALSE(Callpoint().InterfaceHadVrf(socket, "eth0"));
  EXPECT_TRUE(Callpoint().InterfaceHasVrf(Context(), "eth0"));
  data::SetVrf(running_, "eth0");
  Begin();
  Candidate().Delete("/config/interface/l3{eth0}/vrf");
  EXPECT_TRUE(Callpoint().InterfaceHadVrf(socket, "eth0"));
  EXPECT_FALSE(Callpoint().InterfaceHasVrf(Context(), "eth0"));
  device_.confd.CloseSession(socket);
}

}  // namespace
