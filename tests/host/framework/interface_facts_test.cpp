#include <gtest/gtest.h>

#include "cdb_stub.h"
#include "libiptools/iptools.h"

namespace host::test {
namespace {

class InterfaceFactsTest : public ::testing::Test {
 protected:
  InterfaceFactsTest() {
    Leaves() = {
        {"/config/interface/l3{ge-1}/vrf", "red"},
        {"/config/interface/l3{ge-1}/ipv4/address/ip", "192.0.2.1"},
        {"/config/interface/l3{ge-1}/ipv6/address[0]/ip", "2001:db8::1"},
        {"/config/interface/l3{ge-1}/kernel-name", "eth1"},
        {"/metacli-internal:internal/metacli-internal:vrf-config/stringTOindex{red}/vrf-idx",
         "100"}};
  }
  ~InterfaceFactsTest() override { Leaves().clear(); }

  void Look(int socket, const std::string& name) {
    libiptools::GetVrfSourceInterfaceIP(nullptr, socket, name, ipv4_, ipv6_, vrf_);
  }

  std::string ipv4_ = "former";
  std::string ipv6_ = "former";
  uint32_t vrf_ = 77;
};

TEST_F(InterfaceFactsTest, ReadsVrfAndAddresses) {
  Look(kSocket, "l3-ge-1");
  EXPECT_EQ(vrf_, 100U);
  EXPECT_EQ(ipv4_, "192.0.2.1");
  EXPECT_EQ(ipv6_, "2001:db8::1");
}

TEST_F(InterfaceFactsTest, AnUnknownInterfaceHasNothing) {
  Look(kSocket, "l3-ge-2");
  EXPECT_EQ(vrf_, 0U);
  EXPECT_EQ(ipv4_ + ipv6_, "");
}

TEST_F(InterfaceFactsTest, AClosedSessionHasNothing) {
  Look(kSocket + 1, "l3-ge-1");
  EXPECT_EQ(vrf_, 0U);
  EXPECT_EQ(ipv4_ + ipv6_, "");
}

TEST_F(InterfaceFactsTest, AVrfWithoutIndexIsNone) {
  Leaves()["/config/interface/l3{ge-1}/vrf"] = "blue";
  Look(kSocket, "l3-ge-1");
  EXPECT_EQ(vrf_, 0U);
}

TEST_F(InterfaceFactsTest, AnInterfaceWithoutVrfHasAddresses) {
  Leaves().erase("/config/interface/l3{ge-1}/vrf");
  Look(kSocket, "l3-ge-1");
  EXPECT_EQ(vrf_, 0U);
  EXPECT_EQ(ipv4_, "192.0.2.1");
}

TEST_F(InterfaceFactsTest, TranslatesToTheKernelsName) {
  EXPECT_EQ(libiptools::TranslateSource(kSocket, "l3-ge-1"), "eth1");
  EXPECT_EQ(libiptools::TranslateSource(kSocket, "l3-eth2"), "eth2");
  EXPECT_EQ(libiptools::TranslateSource(kSocket, "eth2"), "eth2");
  EXPECT_EQ(libiptools::TranslateSource(kSocket, "l3-"), "");
}

}  // namespace
}  // namespace host::test
