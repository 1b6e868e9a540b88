// A listen data handler of its own, in a transaction of the fake device.
#pragma once

#include <arpa/inet.h>

#include <string>
#include <vector>

#include "app/snmp_data_listen.h"
#include "listen_test.h"

namespace data {

constexpr char kExtra[] = "/confd_dyncfg:confdConfig/snmpAgent/extraIpPorts";
constexpr char kL3[] = "/config/interface/l3";
constexpr char kVrfIndexOfBlue[] =
    "/metacli-internal:internal/metacli-internal:vrf-config/stringTOindex{blue}/vrf-idx";

inline std::string Line(const std::string& function, int level, const std::string& text) {
  return "snmp-app-listen src/app/snmp_data_listen " + function + " " + std::to_string(level) +
         " " + text;
}

/// Journal lines of writes.
inline std::string Create(const std::string& entry) {
  return std::string("maapi_create ") + kExtra + "{" + entry + "}";
}
inline std::string Delete(const std::string& entry) {
  return std::string("maapi_delete ") + kExtra + "{" + entry + "}";
}

inline void AddL3(fake::Database& database, const std::string& name) {
  database.AddEntry(kL3, {{"name", common::MakeBuf(name)}});
}

inline void SetVrf(fake::Database& database, const std::string& name) {
  database.Set(kL3 + ("{" + name + "}/vrf"), common::MakeBuf("blue"));
  database.Set(kVrfIndexOfBlue, common::MakeUint32(5));
}

inline void SetIpv4(fake::Database& database, const std::string& name, const char* address) {
  confd_ipv4_prefix prefix = {{}, 24};
  inet_pton(AF_INET, address, &prefix.ip);
  database.Set(kL3 + ("{" + name + "}/ipv4/address/ip"), common::MakeIpv4Prefix(prefix));
}

inline void SetIpv6Enable(fake::Database& database, const std::string& name, bool enable) {
  database.Set(kL3 + ("{" + name + "}/ipv6/enable"), common::MakeBool(enable));
}

/// An IPv6 address under a key of its own.
inline void AddIpv6(fake::Database& database, const std::string& name, const std::string& key,
                    const char* address) {
  confd_ipv6_prefix prefix = {{}, 64};
  inet_pton(AF_INET6, address, &prefix.ip6);
  const std::string list = kL3 + ("{" + name + "}/ipv6/address");
  database.AddEntry(list, {{"key", common::MakeBuf(key)}});
  database.Set(list + "{" + key + "}/ip", common::MakeIpv6Prefix(prefix));
}

}  // namespace data

class DataListenTest : public ListenTest {
 protected:
  DataListenTest() {
    data_handler_.SetConfdInterface(&device_.confd.interface);
    data::AddL3(running_, "eth0");
    Begin();
  }

  /// Starts a transaction anew on what is running, and forgets all records.
  void Begin() {
    device_.confd.BeginTransaction();
    ForgetRecords();
  }

  fake::Database& Candidate() { return device_.confd.transaction->candidate; }
  confd_trans_ctx* Context() { return device_.confd.transaction->Context(); }
  SnmpListenDataHandler::SnmpListenCallpoint& Callpoint() {
    return dynamic_cast<SnmpListenDataHandler::SnmpListenCallpoint&>(
        *data_handler_.GetCallpoints().at(0));
  }

  int Create(const std::string& name) {
    const common::OwnedValue key(common::MakeBuf(name));
    confd_hkeypath_t kp = EntryPath({"snmp", "agent", "listen", "interface"}, key.Value());
    return Callpoint().CreateCallback(Context(), &kp);
  }

  int Remove(const std::string& name) {
    const common::OwnedValue key(common::MakeBuf(name));
    confd_hkeypath_t kp = EntryPath({"snmp", "agent", "listen", "interface"}, key.Value());
    return Callpoint().RemoveCallback(Context(), &kp);
  }

  int SetLeaf(const std::string& name, const std::string& leaf, confd_value_t value) {
    const common::OwnedValue key(common::MakeBuf(name));
    confd_hkeypath_t entry = EntryPath({"snmp", "agent", "listen", "interface"}, key.Value());
    confd_hkeypath_t kp = {};
    AddLevel(&kp, common::MakeTag(common::TagTable::Global().Hash(leaf), 0));
    for (int level = 0; level < entry.len; ++level) AddLevel(&kp, entry.v[level][0]);
    return Callpoint().SetElemCallback(Context(), &kp, &value);
  }

  int SetPort(const std::string& name, uint16_t port) {
    return SetLeaf(name, "udp-port", common::MakeUint16(port));
  }

  /// The extra entries of the transaction's candidate, as the leaf-list prints.
  std::string Extra() const {
    const fake::Node* extra = device_.confd.transaction->candidate.Find(data::kExtra);
    return extra == nullptr ? "" : common::ValueText(extra->value.Value());
  }

  /// Writes of the transaction, in order.
  std::vector<std::string> Writes() const {
    std::vector<std::string> writes;
    for (const std::string& event : device_.journal) {
      for (const char* call : {"maapi_create", "maapi_delete ", "maapi_set"}) {
        if (event.rfind(call, 0) == 0) writes.push_back(event);
      }
    }
    return writes;
  }

  fake::Database& running_ = device_.confd.running;
  SnmpListenDataHandler data_handler_{handler_};
};
