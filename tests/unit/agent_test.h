// An agent handler of its own, connected to the fake device.
#pragma once

#include <string>
#include <vector>

#include "app/snmp_cfg_agent.h"
#include "confd/value_text.h"
#include "delivery/change.h"
#include "device_test.h"
#include "key_path.h"

namespace agent {

constexpr char kEnabled[] = "/confd_dyncfg:confdConfig/snmpAgent/enabled";
constexpr char kIp[] = "/confd_dyncfg:confdConfig/snmpAgent/ip";
constexpr char kPort[] = "/confd_dyncfg:confdConfig/snmpAgent/port";
constexpr char kExtra[] = "/confd_dyncfg:confdConfig/snmpAgent/extraIpPorts";

/// An address of a documentation network, which no machine has.
constexpr char kAbsentAddress[] = "192.0.2.1";

/// A port outside the range from which the system gives out unused ones.
constexpr uint16_t kPortNumber = 10161;

constexpr char kBound[] = "Successfully bound to SNMP agent address";

/// What the handler can ask for when it applies, as lines of the journal.
constexpr char kRebound[] = "maapi_rebind_listener 4";
constexpr char kRetryStarted[] = "timer resume 0";

/// The line of a record that the agent handler writes.
inline std::string Line(const std::string& function, int level, const std::string& text) {
  return "snmp-app-agent src/app/snmp_cfg_agent " + function + " " + std::to_string(level) + " " +
         text;
}

/// A leaf-list's value; the caller's.
inline confd_value_t List(const std::vector<std::string>& entries) {
  std::vector<confd_value_t> elements;
  for (const std::string& entry : entries) elements.push_back(common::MakeBuf(entry));
  return common::MakeList(elements);
}

inline confd_hkeypath_t LeafPath(const std::string& leaf) {
  return ElementPath({"confdConfig", "snmpAgent", leaf});
}

}  // namespace agent

class AgentTest : public DeviceTest {
 protected:
  AgentTest() {
    handler_.SetConfdInterface(&device_.confd.interface);
    device_.journal.clear();
  }

  /// Sets what the agent's configuration holds, all of it.
  void Configure(bool enabled, const std::string& address, uint16_t port,
                 const std::vector<std::string>& extra) {
    device_.confd.running.Set(agent::kEnabled, common::MakeBool(enabled));
    device_.confd.running.Set(agent::kIp, common::MakeBuf(address));
    device_.confd.running.Set(agent::kPort, common::MakeUint16(port));
    device_.confd.running.Set(agent::kExtra, agent::List(extra));
  }

  /// Has the handler load from a session on the running configuration.
  void Load() {
    const int socket = device_.confd.OpenSession(CDB_RUNNING);
    handler_.LoadInitialConfig(socket);
    device_.confd.CloseSession(socket);
  }

  /// An agent that is enabled and bound, its rebind done and all records forgotten.
  void StartBound() {
    Configure(true, "127.0.0.1", agent::kPortNumber, {});
    Load();
    handler_.ApplyInitialConfig();
    ForgetRecords();
  }

  void ForgetRecords() {
    device_.journal.clear();
    device_.log.records.clear();
    device_.confd.rebinds.clear();
  }

  /// What the handler does about its settings now: a rebind, the start of the retry, or nothing.
  std::vector<std::string> Apply() {
    ForgetRecords();
    handler_.ApplyCommitConfig();
    std::vector<std::string> calls = device_.Events("maapi");
    for (const std::string& call : device_.Events("timer")) calls.push_back(call);
    return calls;
  }

  /// Tells the handler of the new value of a leaf; the value is freed.
  confd_iter_ret ChangeLeaf(const std::string& leaf, const confd_value_t& value) {
    common::OwnedValue owned(value);
    confd_hkeypath_t kp = agent::LeafPath(leaf);
    return handler_.HandleCfg(&kp, MOP_VALUE_SET, nullptr, owned.Get());
  }

  bool BindExtra(const confd_value_t& value) {
    const common::OwnedValue owned(value);
    return handler_.BindExtra(&owned.Value());
  }

  SnmpAgentCfgHandler handler_;
};
