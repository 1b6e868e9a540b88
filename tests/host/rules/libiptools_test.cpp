#include <gmock/gmock.h>
#include <unistd.h>

#include "libiptools/iptools.h"
#include "network.h"
#include "rules/rules.h"
#include "runtime/log.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class LibiptoolsTest : public NetworkTest {
 protected:
  void TearDown() override { Rules::EndOfProcess(); }

  int Change(bool add, unsigned int vrf = 100, unsigned int port = 161,
             unsigned int redirect_port = 60600, ip_proto proto = IP_PROTO_UDP,
             target_action action = TARGET_REDIRECT) {
    return libiptools::Iptools(7, LogCategory())
        .addDelRuleSnmpListenIntf(add, "eth1", vrf, port, redirect_port, proto, action);
  }
};

TEST_F(LibiptoolsTest, AddsAndDeletesOneRedirect) {
  EXPECT_EQ(Change(true), 0);
  EXPECT_EQ(Change(true), 0);
  EXPECT_THAT(Nft("list ruleset"), HasSubstr("\"eth1\" . 161 : 60600"));
  EXPECT_THAT(Output("ip rule show"), HasSubstr("fwmark 0x64 lookup 100"));
  EXPECT_EQ(Change(false), 0);
  EXPECT_EQ(Change(false), 0);
  EXPECT_THAT(Nft("list ruleset"), Not(HasSubstr("eth1")));
}

TEST_F(LibiptoolsTest, OutlivesTheCaller) {
  { EXPECT_EQ(Change(true), 0); }
  EXPECT_THAT(Nft("list ruleset"), HasSubstr("\"eth1\" . 161 : 60600"));
}

TEST_F(LibiptoolsTest, RefusesWhatItCannotDo) {
  const int before = KernelCalls();
  EXPECT_NE(Change(true, 100, 161, 60600, IP_PROTO_TCP), 0);
  EXPECT_NE(Change(true, 100, 161, 60600, IP_PROTO_UDP, TARGET_ACCEPT), 0);
  EXPECT_NE(Change(true, 0), 0);
  EXPECT_NE(Change(true, 100, 0), 0);
  EXPECT_NE(Change(true, 100, 65536 + 161), 0);
  EXPECT_NE(Change(true, 100, 161, 65536 + 600), 0);
  EXPECT_EQ(KernelCalls(), before);
}

TEST_F(LibiptoolsTest, ARefusalByTheKernelIsTheResult) {
  EXPECT_EXIT(
      {
        DropCapabilities();
        ::_exit(Change(true) == 0 ? 1 : 0);
      },
      ::testing::ExitedWithCode(0), "Rule not added port 161 to 60600 on eth1, VRF 100");
}

}  // namespace
}  // namespace host::test
