// A target VRF handler of its own, connected to the fake device.
#pragma once

#include <arpa/inet.h>

#include <string>
#include <vector>

#include "app/snmp_cfg_target_vrf.h"
#include "confd/value_text.h"
#include "delivery/change.h"
#include "device_test.h"
#include "key_path.h"

namespace target {

constexpr char kList[] = "/snmp/target";
constexpr char kRows[] = "/SNMP_TARGET_MIB:SNMP-TARGET-MIB/snmpTargetAddrTable/snmpTargetAddrEntry";
constexpr char kVrfs[] = "/metacli-internal:internal/metacli-internal:vrf-config/stringTOindex";

/// One target; an empty VRF is none.
struct Row {
  std::string name;
  std::string vrf;
  std::string address;
  uint16_t port;
};

/// The line of a record that the handler writes.
inline std::string Line(const std::string& function, int level, const std::string& text) {
  return "snmp-app src/app/snmp_cfg_target_vrf " + function + " " + std::to_string(level) + " " +
         text;
}

/// The line of a fault of the handler.
inline std::string Fault(int code, const std::string& function, const std::string& text) {
  return std::to_string(code) + " " + function + " src/app/snmp_cfg_target_vrf " + text;
}

/// An address of the family that the text has; text of its own when it is no address.
inline confd_value_t Address(const std::string& text) {
  in_addr v4 = {};
  in6_addr v6 = {};
  if (inet_pton(AF_INET, text.c_str(), &v4) == 1) return common::MakeIpv4(v4);
  if (inet_pton(AF_INET6, text.c_str(), &v6) == 1) return common::MakeIpv6(v6);
  return common::MakeBuf(text);
}

inline std::string Entry(const std::string& name) { return kList + ("{" + name + "}"); }

inline void Set(fake::Database& database, const std::string& name, const std::string& leaf,
                const confd_value_t& value) {
  database.Set(Entry(name) + "/" + leaf, value);
}

inline void Add(fake::Database& database, const Row& row) {
  database.AddEntry(kList, {{"name", common::MakeBuf(row.name)}});
  if (!row.vrf.empty()) Set(database, row.name, "vrf", common::MakeBuf(row.vrf));
  Set(database, row.name, "ip", Address(row.address));
  Set(database, row.name, "udp-port", common::MakeUint16(row.port));
}

/// A row of the table that tells how many targets there are.
inline void AddRow(fake::Database& database, const std::string& name) {
  database.AddEntry(kRows, {{"snmpTargetAddrName", common::MakeBuf(name)}});
}

inline void SetVrf(fake::Database& database, const std::string& name, const confd_value_t& index) {
  database.Set(kVrfs + ("{" + name + "}/vrf-idx"), index);
}

}  // namespace target

/// Has the VRFs "red", 256, and "blue", 7.
class TargetVrfTest : public DeviceTest {
 protected:
  TargetVrfTest() {
    target::SetVrf(Running(), "red", common::MakeUint32(256));
    target::SetVrf(Running(), "blue", common::MakeUint32(7));
    handler_.SetConfdInterface(&device_.confd.interface);
    ForgetRecords();
  }

  void ForgetRecords() {
    device_.journal.clear();
    device_.log.records.clear();
    device_.middleware.faults.clear();
  }

  fake::Database& Running() const { return device_.confd.running; }

  /// From now on the configuration before the commit is the present one.
  void BeginCommit() { device_.confd.pre_commit = Running().Copy(); }

  /// Has the handler load from a session on the running configuration.
  void Load() {
    const int socket = device_.confd.OpenSession(CDB_RUNNING);
    handler_.LoadInitialConfig(socket);
    device_.confd.CloseSession(socket);
  }

  /// Has the handler add or remove a target's rule as the running configuration has it.
  void ChangeRule(bool add, const std::string& name) {
    const int socket = device_.confd.OpenSession(CDB_RUNNING);
    handler_.AddDelIpRuleIntf(add, name, socket);
    device_.confd.CloseSession(socket);
  }

  confd_iter_ret Handle(confd_hkeypath_t kp, confd_iter_op op) {
    return handler_.HandleCfgVrf(&kp, op, nullptr, nullptr);
  }

  /// Tells of a target as a whole.
  confd_iter_ret ChangeEntry(const std::string& name, confd_iter_op op) {
    const common::OwnedValue key(common::MakeBuf(name));
    return Handle(EntryPath({"snmp", "target"}, key.Value()), op);
  }

  /// Tells of a leaf of a target.
  confd_iter_ret ChangeLeaf(const std::string& name, const std::string& leaf,
                            confd_iter_op op = MOP_VALUE_SET) {
    const common::OwnedValue key(common::MakeBuf(name));
    const confd_hkeypath_t entry = EntryPath({"snmp", "target"}, key.Value());
    confd_hkeypath_t kp = {};
    AddLevel(&kp, common::MakeTag(common::TagTable::Global().Hash(leaf), 0));
    for (int level = 0; level < entry.len; ++level) AddLevel(&kp, entry.v[level][0]);
    return Handle(kp, op);
  }

  std::vector<std::string> Rules() const { return device_.Events("routing rule"); }

  TargetVrfCfgHandler handler_;
};
