#include "snmp/endpoint.h"

#include <gtest/gtest.h>

#include <sstream>
#include <utility>

namespace host {
namespace {

TEST(EndpointTest, TextOfIpv4) { EXPECT_EQ(ToText({"10.0.0.1", 161}), "10.0.0.1:161"); }

TEST(EndpointTest, TextOfIpv6HasBrackets) { EXPECT_EQ(ToText({"::1", 161}), "[::1]:161"); }

TEST(EndpointTest, PrintsItsText) {
  std::ostringstream stream;
  stream << Endpoint{"::", 60600};
  EXPECT_EQ(stream.str(), "[::]:60600");
}

TEST(EndpointTest, IsOrderedByAddressThenPort) {
  const Endpoint a = {"10.0.0.1", 161};
  EXPECT_EQ(a, (Endpoint{"10.0.0.1", 161}));
  EXPECT_NE(a, (Endpoint{"10.0.0.1", 162}));
  EXPECT_LT(a, (Endpoint{"10.0.0.1", 162}));
  EXPECT_LT((Endpoint{"10.0.0.1", 162}), (Endpoint{"10.0.0.2", 161}));
}

TEST(EndpointTest, NormalFormIsOneForAllTextsOfAnAddress) {
  EXPECT_EQ(Normalized(Endpoint{"0:0::0:1", 161}), (Endpoint{"::1", 161}));
  EXPECT_EQ(Normalized(Endpoint{"FE80::A", 161}), (Endpoint{"fe80::a", 161}));
  EXPECT_EQ(Normalized(Endpoint{"10.0.0.1", 161}), (Endpoint{"10.0.0.1", 161}));
  EXPECT_EQ(Normalized(Endpoint{"no address", 161}), (Endpoint{"no address", 161}));
}

TEST(EndpointTest, NormalFormOfASetHasNoDuplicates) {
  EXPECT_EQ(Normalized(std::set<Endpoint>{{"::1", 161}, {"0::1", 161}, {"::1", 162}}),
            (std::set<Endpoint>{{"::1", 161}, {"::1", 162}}));
}

TEST(EndpointTest, IsReadInItsNormalForm) {
  const std::pair<const char*, Endpoint> texts[] = {{"10.0.0.1:161", {"10.0.0.1", 161}},
                                                    {"0.0.0.0:60600", {"0.0.0.0", 60600}},
                                                    {"[::1]:161", {"::1", 161}},
                                                    {"::1:161", {"::1", 161}},
                                                    {"[::]:1", {"::", 1}},
                                                    {"2001:DB8::0:1:65535", {"2001:db8::1", 65535}},
                                                    {"10.0.0.1:00161", {"10.0.0.1", 161}}};
  for (const auto& [text, endpoint] : texts) EXPECT_EQ(ParseEndpoint(text), endpoint) << text;
}

TEST(EndpointTest, OtherTextsAreNone) {
  for (const char* text : {"",
                           ":",
                           "10.0.0.1",
                           "10.0.0.1:",
                           ":161",
                           "10.0.0.1:0",
                           "10.0.0.1:65536",
                           "10.0.0.1:-1",
                           "10.0.0.1:+1",
                           "10.0.0.1: 161",
                           "10.0.0.1:161 ",
                           "10.0.0.1:1x",
                           "10.0.0:161",
                           "10.0.0.1.1:161",
                           "name:161",
                           "[10.0.0.1]:161",
                           "[::1:161",
                           "::1]:161",
                           "[]:161",
                           "[:161"}) {
    EXPECT_EQ(ParseEndpoint(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace host
