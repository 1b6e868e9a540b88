// A listen handler of its own, connected to the fake device.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/snmp_cfg_listen.h"
#include "confd/value_text.h"
#include "delivery/change.h"
#include "device_test.h"
#include "key_path.h"

namespace listening {

constexpr char kEnabled[] = "/confd_dyncfg:confdConfig/snmpAgent/enabled";
constexpr char kList[] = "/snmp/agent/listen/interface";

/// The line of a record that the listen handler writes.
inline std::string Line(const std::string& function, int level, const std::string& text) {
  return "snmp-app-listen src/app/snmp_cfg_listen " + function + " " + std::to_string(level) + " " +
         text;
}

/// The line of a fault of the listen handler.
inline std::string Fault(const std::string& function, const std::string& text) {
  return "0 " + function + " src/app/snmp_cfg_listen " + text;
}

inline void AddRow(fake::Database& database, const std::string& name) {
  database.AddEntry(kList, {{"name", common::MakeBuf(name)}});
}

inline void SetPort(fake::Database& database, const std::string& name, const std::string& leaf,
                    uint16_t port) {
  database.Set(kList + ("{" + name + "}/") + leaf, common::MakeUint16(port));
}

/// A row with both ports.
inline void AddRow(fake::Database& database, const std::string& name, uint16_t udp_port,
                   uint16_t redir_port) {
  AddRow(database, name);
  SetPort(database, name, "udp-port", udp_port);
  SetPort(database, name, "redir-port", redir_port);
}

}  // namespace listening

class ListenTest : public DeviceTest {
 protected:
  ListenTest() {
    handler_->SetConfdInterface(&device_.confd.interface);
    ForgetRecords();
  }

  void ForgetRecords() {
    device_.journal.clear();
    device_.log.records.clear();
    device_.rules.calls.clear();
    device_.middleware.faults.clear();
  }

  /// Makes an interface known to the rule library.
  void AddInterface(const std::string& name, uint32_t vrf, const std::string& kernel_name) {
    device_.rules.interfaces[name] = {vrf, kernel_name};
  }

  void EnableAgent(bool enabled) {
    device_.confd.running.Set(listening::kEnabled, common::MakeBool(enabled));
  }

  /// Has the handler load from a session on the running configuration.
  void Load() {
    const int socket = device_.confd.OpenSession(CDB_RUNNING);
    handler_->LoadInitialConfig(socket);
    device_.confd.CloseSession(socket);
  }

  /// Loads one interface in VRF 5 with both ports, and forgets all records.
  void LoadOne(const std::string& name = "l3-eth1") {
    AddInterface(name, 5, "veth1");
    listening::AddRow(device_.confd.running, name, 161, 60600);
    Load();
    ForgetRecords();
  }

  /// Tells of an entry of the list that was created, deleted or modified.
  confd_iter_ret ChangeEntry(const std::string& name, confd_iter_op op) {
    const common::OwnedValue key(common::MakeBuf(name));
    confd_hkeypath_t kp = EntryPath({"snmp", "agent", "listen", "interface"}, key.Value());
    return handler_->HandleCfg(&kp, op, nullptr, nullptr);
  }

  /// Tells of a new value of a leaf of an entry.
  confd_iter_ret ChangeLeaf(const std::string& name, const std::string& leaf,
                            const confd_value_t& value) {
    const common::OwnedValue key(common::MakeBuf(name));
    common::OwnedValue owned(value);
    const confd_hkeypath_t entry = EntryPath({"snmp", "agent", "listen", "interface"}, key.Value());
    confd_hkeypath_t kp = {};
    AddLevel(&kp, common::MakeTag(common::TagTable::Global().Hash(leaf), 0));
    for (int level = 0; level < entry.len; ++level) AddLevel(&kp, entry.v[level][0]);
    return handler_->HandleCfg(&kp, MOP_VALUE_SET, nullptr, owned.Get());
  }

  confd_iter_ret ChangeEnabled(const confd_value_t& value) {
    common::OwnedValue owned(value);
    confd_hkeypath_t kp = ElementPath({"confdConfig", "snmpAgent", "enabled"});
    return handler_->HandleCfg(&kp, MOP_VALUE_SET, nullptr, owned.Get());
  }

  /// What the handler has the rule library do when it applies.
  std::vector<std::string> Apply() {
    ForgetRecords();
    handler_->ApplyCommitConfig();
    return device_.Events("rule");
  }

  const SnmpListenCfgHandler::InterfaceInfo& Entry(const std::string& name) const {
    return handler_->Stash().entries.at(name);
  }

  std::shared_ptr<SnmpListenCfgHandler> handler_ = std::make_shared<SnmpListenCfgHandler>();
};
