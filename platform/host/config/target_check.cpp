#include "config/target_check.h"

#include <arpa/inet.h>

#include <map>
#include <string>

#include "confd/path_text.h"
#include "confd/value_text.h"
#include "config/device_paths.h"
#include "config/value.h"
#include "config/yang_data.h"
#include "delivery/change.h"

namespace host {

namespace {

[[noreturn]] void Refuse(const lyd_node* node, const std::string& reason) {
  const std::string path = PathOf(node);
  throw Refusal(kNotTaken, path, path + ": " + reason);
}

/// The first entry of a list, null when it has none.
const lyd_node* FirstEntry(const lyd_node* tree, const char* path) {
  const lyd_node* siblings = tree;
  const lyd_node* found = nullptr;
  for (const common::PathStep& step : common::ParsePath(path)) {
    found = FindNamed(siblings, step.name);
    siblings = lyd_child(found);
  }
  return found;
}

/// The text of a leaf of an entry; empty when it is not there.
std::string Text(const lyd_node* entry, const char* leaf) {
  const lyd_node* found = FindNamed(lyd_child(entry), leaf);
  return found == nullptr ? "" : lyd_get_value(found);
}

/// "ADDRESS port NUMBER", or what the bytes are when they are no transport address.
std::string TransportAddressText(const confd_buf& bytes) {
  const int family = bytes.size == 6 ? AF_INET : AF_INET6;
  if (bytes.size != 6 && bytes.size != 18) {
    return std::to_string(bytes.size) + " bytes, which are no address and port";
  }
  char address[INET6_ADDRSTRLEN] = {};
  inet_ntop(family, bytes.ptr, address, sizeof address);
  const unsigned int port = bytes.ptr[bytes.size - 2] * 256U + bytes.ptr[bytes.size - 1];
  return std::string(address) + " port " + std::to_string(port);
}

std::string AddressText(const lyd_node* target) {
  return Text(target, "ip") + " port " + Text(target, "udp-port");
}

std::string VrfText(const lyd_node* target) {
  const std::string vrf = Text(target, "vrf");
  return vrf.empty() ? "no VRF" : "VRF " + vrf;
}

using Entries = std::map<std::string, const lyd_node*>;

Entries ByName(const lyd_node* first, const char* key) {
  Entries entries;
  for (const lyd_node* entry = first; entry != nullptr; entry = NextEntry(entry)) {
    entries.emplace(Text(entry, key), entry);
  }
  return entries;
}

void CheckRow(const lyd_node* target, const lyd_node* row) {
  const lyd_node* leaf = FindNamed(lyd_child(row), "snmpTargetAddrTAddress");
  const common::OwnedValue address(TermValue(leaf));
  const std::string in_row = TransportAddressText(address.Value().val.buf);
  if (in_row != AddressText(target)) {
    Refuse(leaf, "the row has " + in_row + ", the target of this name " + AddressText(target));
  }
}

void CheckRows(const Entries& targets, const Entries& rows) {
  for (const auto& [name, target] : targets) {
    const auto row = rows.find(name);
    if (row == rows.end()) {
      Refuse(target, "the target has no row in SNMP-TARGET-MIB's snmpTargetAddrTable");
    }
    CheckRow(target, row->second);
  }
  for (const auto& [name, row] : rows) {
    if (targets.count(name) == 0) Refuse(row, "the row has no /snmp/target of this name");
  }
}

void CheckVrfs(const Entries& targets) {
  Entries by_address;
  for (const auto& [name, target] : targets) {
    const auto [other, is_first] = by_address.emplace(AddressText(target), target);
    if (is_first || VrfText(other->second) == VrfText(target)) continue;
    Refuse(target, AddressText(target) + " is in " + VrfText(target) + ", but for target \"" +
                       Text(other->second, "name") + "\" in " + VrfText(other->second));
  }
}

}  // namespace

void CheckTargets(const lyd_node* tree) {
  const Entries targets = ByName(FirstEntry(tree, kTargetsPath), "name");
  const Entries rows = ByName(FirstEntry(tree, kTargetRowsPath), "snmpTargetAddrName");
  CheckRows(targets, rows);
  CheckVrfs(targets);
}

}  // namespace host
