// Names at their limits: the listen data handler takes them as they are.
#include "data_listen_test.h"

namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

/// Shorter than the room for a VRF's name, longer than that for any other.
const std::string kLongVrf(8000, 'v');

class DataListenNamesTest : public DataListenTest {
 protected:
  static void SetLongVrf(fake::Database& database) {
    database.Set(std::string(data::kL3) + "{eth0}/vrf", common::MakeBuf(kLongVrf));
    database.Set("/metacli-internal:internal/metacli-internal:vrf-config/stringTOindex{" +
                     kLongVrf + "}/vrf-idx",
                 common::MakeUint32(5));
  }
};

TEST_F(DataListenNamesTest, PrefixAloneIsTheEmptyL3NameOfARemoval) {
  listening::AddRow(running_, "l3-", 161, 161);
  Begin();
  EXPECT_EQ(CONFD_OK, Remove("l3-"));
  EXPECT_THAT(device_.Events("cdb_get"),
              AllOf(Contains("cdb_get_str /config/interface/l3{}/vrf"),
                    Contains("cdb_get_u_int16 /snmp/agent/listen/interface{l3-}/udp-port")));
}

TEST_F(DataListenNamesTest, PrefixAloneIsTheEmptyL3NameOfAPortChange) {
  listening::AddRow(running_, "l3-", 161, 161);
  Begin();
  EXPECT_EQ(CONFD_OK, SetPort("l3-", 1161));
  EXPECT_THAT(device_.Events("cdb_get"),
              AllOf(Contains("cdb_get_str /config/interface/l3{}/vrf"),
                    Contains("cdb_get_u_int16 /snmp/agent/listen/interface{l3-}/udp-port")));
  EXPECT_THAT(device_.Events("maapi_get_str"),
              ElementsAre("maapi_get_str_elem /config/interface/l3{}/vrf"));
}

TEST_F(DataListenNamesTest, LongVrfOfACreatedInterface) {
  SetLongVrf(Candidate());
  listening::AddRow(Candidate(), "l3-eth0");
  EXPECT_EQ(CONFD_OK, Create("l3-eth0"));
  EXPECT_THAT(Writes(), Contains(data::Create("0.0.0.0:60600")));
}

TEST_F(DataListenNamesTest, LongVrfOfARemovedInterface) {
  SetLongVrf(running_);
  Begin();
  EXPECT_EQ(CONFD_OK, Remove("l3-eth0"));
  EXPECT_THAT(device_.Events("cdb_get_u_int32"), Contains(HasSubstr(kLongVrf + "}/vrf-idx")));
}

TEST_F(DataListenNamesTest, LongVrfOfAnInterfaceWhosePortChanges) {
  listening::AddRow(running_, "l3-eth0", 161, 60600);
  SetLongVrf(running_);
  Begin();
  EXPECT_EQ(CONFD_OK, SetPort("l3-eth0", 1161));
  EXPECT_THAT(Writes(), ElementsAre());
  EXPECT_THAT(LogLines(), Not(Contains(HasSubstr("Failed"))));
}

}  // namespace
