// What ends the process in the middle of a transaction: ConfD failures that are not foreseen, and
// key paths of the wrong shape.

#include <cstdio>
#include <cstdlib>

#include "data_listen_test.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

/// Prints the faults, and how many back-traces came before, when the process ends.
void PrintFaults() {
  const fake::Device& device = fake::Device::Instance();
  const size_t size = device.journal.size();
  for (size_t i = 1; i < size; ++i) {
    if (device.journal[i].rfind("fault", 0) == 0) {
      fprintf(stderr, "%s then ", device.journal[i - 1].c_str());
    }
  }
  for (const fake::Fault& fault : device.middleware.faults) {
    fprintf(stderr, "%s|\n", Line(fault).c_str());
  }
}

class DataListenDeathTest : public DataListenTest {
 protected:
  /// Expects that `step` ends the process with a back-trace, then one fault.
  template <typename Step>
  void ExpectFatal(const std::string& function, const std::string& text, Step step) {
    const auto run = [&] {
      atexit(PrintFaults);
      step();
    };
    EXPECT_EXIT(
        run(), ::testing::ExitedWithCode(1),
        EndsWith("backtrace then 1 " + function + " src/app/snmp_data_listen " + text + "|\n"));
  }

  void Refuse(const std::string& call) {
    device_.confd.RefuseNext(call, CONFD_ERR_EXTERNAL, "broken");
  }

  static std::string Failed(const std::string& callback, const std::string& assertion) {
    return "virtual int SnmpListenDataHandler::SnmpListenCallpoint::" + callback + ": Assertion `" +
           assertion + "' failed";
  }

  void ExpectFatalCreate(const std::string& call, const std::string& text) {
    Refuse(call);
    ExpectFatal("CreateCallback", text, [this] { Create("l3-eth0"); });
  }
  void ExpectFatalRemove(const std::string& call, const std::string& text) {
    Refuse(call);
    ExpectFatal("RemoveCallback", text, [this] { Remove("l3-eth0"); });
  }
  void ExpectFatalAdd(const std::string& call, const std::string& function,
                      const std::string& text) {
    Refuse(call);
    ExpectFatal(function, text,
                [this] { Callpoint().AddExtraEntryNoVrf(Context(), "l3-eth0", 161); });
  }
  void ExpectFatalDel(const std::string& call, const std::string& text) {
    Refuse(call);
    ExpectFatal("DelExtraEntryNoVrf", text,
                [this] { Callpoint().DelExtraEntryNoVrf(Context(), "l3-eth0", 161); });
  }

  static void SetAddresses(fake::Database& database) {
    data::SetIpv4(database, "eth0", "10.0.0.1");
    data::SetIpv6Enable(database, "eth0", true);
    data::AddIpv6(database, "eth0", "first", "2001:db8::1");
  }
};

TEST_F(DataListenDeathTest, CreationReadOfTheVrf) {
  ExpectFatalCreate("maapi_get_str_elem",
                    "Failed to retrieve VRF data associated to listening interface (l3-eth0): "
                    "broken");
}

TEST_F(DataListenDeathTest, CreationWithoutPort) {
  ExpectFatal("CreateCallback",
              "Failed to retrieve UDP port of listening interface (l3-eth0): "
              "/snmp/agent/listen/interface{l3-eth0}/udp-port has no value",
              [this] { Create("l3-eth0"); });
}

TEST_F(DataListenDeathTest, CreationInAVrf) {
  data::SetVrf(Candidate(), "eth0");
  listening::AddRow(Candidate(), "l3-eth0");
  ExpectFatalCreate("maapi_get_u_int32_elem",
                    "Failed to retrieve VRF (blue) data of listening interface (l3-eth0): broken");
}

TEST_F(DataListenDeathTest, CreationOfTheWildcardEntry) {
  data::SetVrf(Candidate(), "eth0");
  ExpectFatalCreate("maapi_create",
                    "Failed to create extraIpPorts entry (0.0.0.0:60600) for interface (l3-eth0): "
                    "broken");
}

TEST_F(DataListenDeathTest, WriteOfTheRedirectedPort) {
  data::SetVrf(Candidate(), "eth0");
  ExpectFatalCreate("maapi_set_elem2",
                    "Failed to set redirected port (60600) for interface (l3-eth0): broken");
}

TEST_F(DataListenDeathTest, RemovalReadOfTheVrf) {
  ExpectFatalRemove("cdb_get_str",
                    "Failed to retrieve VRF data associated to listening interface (l3-eth0): "
                    "broken");
}

TEST_F(DataListenDeathTest, RemovalReadOfThePort) {
  ExpectFatalRemove("cdb_get_u_int16",
                    "Failed to retrieve UDP port of listening interface (l3-eth0): broken");
}

TEST_F(DataListenDeathTest, RemovalInAVrf) {
  data::SetVrf(running_, "eth0");
  ExpectFatalRemove("cdb_get_u_int32",
                    "Failed to retrieve VRF (blue) data of listening interface (l3-eth0): broken");
}

TEST_F(DataListenDeathTest, DeletionOfTheWildcardEntry) {
  data::SetVrf(running_, "eth0");
  ExpectFatalRemove("maapi_delete",
                    "Failed to delete extraIpPorts entry (0.0.0.0:60600) for interface (l3-eth0): "
                    "broken");
}

TEST_F(DataListenDeathTest, ChangeOfAnUnexpectedLeaf) {
  ExpectFatal("SetElemCallback",
              "Unexpected tag in the path (/snmp/agent/listen/interface{eth0}/port) for SNMP "
              "listening config",
              [this] { SetLeaf("eth0", "port", common::MakeUint16(1)); });
}

TEST_F(DataListenDeathTest, UnexpectedLeafIsToldBeforeTheKeyIsLookedAt) {
  confd_hkeypath_t kp = EntryPath({"snmp", "agent", "listen", "interface"}, common::MakeUint16(7));
  confd_hkeypath_t leaf = {};
  AddLevel(&leaf, common::MakeTag(common::TagTable::Global().Hash("port"), 0));
  for (int level = 0; level < kp.len; ++level) AddLevel(&leaf, kp.v[level][0]);
  confd_value_t value = common::MakeUint16(1);
  ExpectFatal("SetElemCallback",
              "Unexpected tag in the path (/snmp/agent/listen/interface{7}/port) for SNMP "
              "listening config",
              [&] { Callpoint().SetElemCallback(Context(), &leaf, &value); });
}

TEST_F(DataListenDeathTest, ChangeReadOfTheOldPort) {
  Refuse("cdb_get_u_int16");
  ExpectFatal("SetElemCallback",
              "Failed to retrieve old UDP port value for listening interface (l3-eth0): broken",
              [this] { SetPort("l3-eth0", 161); });
}

TEST_F(DataListenDeathTest, ChangeReadOfTheOldVrf) {
  Refuse("cdb_get_str");
  ExpectFatal("InterfaceHadVrf",
              "Failed to retrieve old VRF data associated to listening interface (eth0): broken",
              [this] { SetPort("l3-eth0", 161); });
}

TEST_F(DataListenDeathTest, ChangeReadOfTheNewVrf) {
  Refuse("maapi_get_str_elem");
  ExpectFatal("InterfaceHasVrf",
              "Failed to retrieve new VRF data associated to listening interface (eth0): broken",
              [this] { SetPort("l3-eth0", 161); });
}

TEST_F(DataListenDeathTest, AdditionReadOfTheIpv4Address) {
  ExpectFatalAdd("maapi_get_ipv4_and_plen_elem", "AddExtraEntryNoVrf",
                 "Failed to retrieve IPv4 address of listening interface (l3-eth0): broken");
}

TEST_F(DataListenDeathTest, AdditionReadOfTheIpv6Switch) {
  ExpectFatalAdd("maapi_get_bool_elem", "AddExtraEntryNoVrf",
                 "Failed to check IPv6 enabled for interface (l3-eth0): broken");
}

TEST_F(DataListenDeathTest, AdditionReadOfTheIpv6Address) {
  SetAddresses(Candidate());
  ExpectFatalAdd("maapi_get_ipv6_and_plen_elem", "AddExtraEntryNoVrf",
                 "Failed to retrieve IPv6 address of listening interface (l3-eth0): broken");
}

TEST_F(DataListenDeathTest, Ipv6EntryWithoutAddress) {
  SetAddresses(running_);
  running_.Delete("/config/interface/l3{eth0}/ipv6/address{first}/ip");
  Begin();
  const std::string text =
      "Failed to retrieve IPv6 address of listening interface (l3-eth0): /config/interface/";
  ExpectFatal("AddExtraEntryNoVrf", text + "l3{eth0}/ipv6/address{first}/ip has no value",
              [this] { Callpoint().AddExtraEntryNoVrf(Context(), "l3-eth0", 161); });
  ExpectFatal("DelExtraEntryNoVrf", text + "l3{eth0}/ipv6/address[0]/ip has no value",
              [this] { Callpoint().DelExtraEntryNoVrf(Context(), "l3-eth0", 161); });
}

TEST_F(DataListenDeathTest, CreationOfTheIpv4Entry) {
  SetAddresses(Candidate());
  ExpectFatalAdd("maapi_create", "AddExtraEntryIPv4",
                 "Failed to create extraIpPorts entry (10.0.0.1:161) for interface (l3-eth0): "
                 "broken");
}

TEST_F(DataListenDeathTest, CreationOfTheIpv6Entry) {
  SetAddresses(Candidate());
  ExpectFatalAdd(data::Create("2001:db8::1:161"), "AddExtraEntryIPv6",
                 "Failed to create extraIpPorts entry (2001:db8::1:161) for interface (l3-eth0): "
                 "broken");
}

TEST_F(DataListenDeathTest, DeletionReadOfTheIpv4Address) {
  ExpectFatalDel("cdb_get_ipv4_and_plen",
                 "Failed to retrieve IPv4 address of listening interface (l3-eth0): broken");
}

TEST_F(DataListenDeathTest, DeletionReadOfTheIpv6Switch) {
  ExpectFatalDel("cdb_get_bool", "Failed to check IPv6 enabled for interface (l3-eth0): broken");
}

TEST_F(DataListenDeathTest, DeletionReadOfTheIpv6Address) {
  SetAddresses(running_);
  ExpectFatalDel("cdb_get_ipv6_and_plen",
                 "Failed to retrieve IPv6 address of listening interface (l3-eth0): broken");
}

TEST_F(DataListenDeathTest, DeletionOfTheIpv4Entry) {
  SetAddresses(running_);
  ExpectFatalDel("maapi_delete",
                 "Failed to delete extraIpPorts entry (10.0.0.1:161) for interface (l3-eth0): "
                 "broken");
}

TEST_F(DataListenDeathTest, DeletionOfTheIpv6EntryReportsACreation) {
  SetAddresses(running_);
  running_.Delete("/config/interface/l3{eth0}/ipv4/address/ip");
  ExpectFatalDel("maapi_delete",
                 "Failed to create extraIpPorts entry (2001:db8::1:161) for interface (l3-eth0): "
                 "broken");
}

TEST_F(DataListenDeathTest, FaultTextIsCutTo300Bytes) {
  device_.confd.RefuseNext("cdb_get_str", CONFD_ERR_EXTERNAL, std::string(400, 'e'));
  const std::string text =
      "Failed to retrieve VRF data associated to listening interface (l3-eth0): ";
  ExpectFatal("RemoveCallback", text + std::string(299 - text.size(), 'e'),
              [this] { Remove("l3-eth0"); });
}

TEST_F(DataListenDeathTest, KeysOfTheWrongType) {
  const std::string create = "CreateCallback(confd_trans_ctx*, confd_hkeypath_t*)";
  const std::string remove = "RemoveCallback(confd_trans_ctx*, confd_hkeypath_t*)";
  const std::string set = "SetElemCallback(confd_trans_ctx*, confd_hkeypath_t*, confd_value_t*)";
  confd_hkeypath_t number = EntryPath({"snmp", "interface"}, common::MakeUint16(1));
  confd_hkeypath_t leaf = ElementPath({"interface", "udp-port"});
  EXPECT_DEATH(Callpoint().CreateCallback(Context(), &number),
               HasSubstr(Failed(create, "(&keypath->v[0][0])->type == C_BUF")));
  EXPECT_DEATH(Callpoint().RemoveCallback(Context(), &number),
               HasSubstr(Failed(remove, "(&keypath->v[0][0])->type == C_BUF")));
  EXPECT_DEATH(Callpoint().SetElemCallback(Context(), &number, nullptr),
               HasSubstr(Failed(set, "(&keypath->v[0][0])->type == C_XMLTAG")));
  EXPECT_DEATH(Callpoint().SetElemCallback(Context(), &leaf, nullptr),
               HasSubstr(Failed(set, "(&keypath->v[1][0])->type == C_BUF")));
  EXPECT_DEATH(SetLeaf("l3-eth0", "udp-port", common::MakeUint32(1)),
               HasSubstr(Failed(set, "(newval)->type == C_UINT16")));
}

}  // namespace
