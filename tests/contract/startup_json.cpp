#include "startup_json.h"

#include "transport_address.h"

namespace contract {

namespace {

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

std::string Joined(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : ", ") + part;
  return text;
}

std::string CommunityRow(const std::string& name) {
  std::string row;
  for (const char* leaf :
       {"snmpCommunityIndex", "snmpCommunityName", "snmpCommunitySecurityName"}) {
    row += (row.empty() ? "" : ", ") + Quoted(leaf) + ": " + Quoted(name);
  }
  return "{" + row + "}";
}

/// The text of bytes in base 64.
std::string Base64(const std::string& bytes) {
  static constexpr char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const std::string group = (bytes.substr(i, 3) + std::string(2, '\0')).substr(0, 3);
    uint32_t bits = 0;
    for (const char byte : group) bits = bits << 8 | static_cast<unsigned char>(byte);
    for (const int shift : {18, 12, 6, 0}) text += kDigits[bits >> shift & 63];
  }
  const size_t padding = (3 - bytes.size() % 3) % 3;
  return text.substr(0, text.size() - padding) + std::string(padding, '=');
}

/// The rows that `row` makes of elements, between brackets.
template <typename Element, typename MakeRow>
std::string Rows(const std::vector<Element>& elements, MakeRow row) {
  std::vector<std::string> rows;
  for (const Element& element : elements) rows.push_back(row(element));
  return "[" + Joined(rows) + "]";
}

std::string TargetRow(const Target& target) {
  return R"({"name": )" + Quoted(target.name) +
         (target.vrf.empty() ? "" : R"(, "vrf": )" + Quoted(target.vrf)) + R"(, "ip": )" +
         Quoted(target.ip) + R"(, "udp-port": )" + std::to_string(target.port) + "}";
}

std::string AddressRow(const Target& target) {
  return R"({"snmpTargetAddrName": )" + Quoted(target.name) + R"(, "snmpTargetAddrTAddress": )" +
         Quoted(Base64(TransportAddress(target.ip, target.port))) +
         R"(, "snmpTargetAddrParams": )" + Quoted(target.name) + "}";
}

std::string ParametersRow(const Target& target) {
  return R"({"snmpTargetParamsName": )" + Quoted(target.name) + R"(, "snmpTargetParamsMPModel": )" +
         std::to_string(target.model) + R"(, "snmpTargetParamsSecurityName": )" +
         Quoted(target.sec_name) + "}";
}

std::string VrfRow(const Vrf& vrf) {
  return R"({"name": )" + Quoted(vrf.name) + R"(, "vrf-idx": )" + std::to_string(vrf.index) + "}";
}

/// One member of an object, with what goes before it; empty for an empty text.
std::string Member(const char* name, const std::string& text) {
  return text.empty() ? "" : ", " + Quoted(name) + ": " + Quoted(text);
}

std::string Ipv6Json(const std::vector<std::string>& addresses) {
  std::vector<std::string> rows;
  for (const std::string& address : addresses) {
    rows.push_back(R"({"index": )" + std::to_string(rows.size()) + Member("ip", address) + "}");
  }
  return R"({"enable": true, "address": [)" + Joined(rows) + "]}";
}

std::string L3Row(const L3& l3) {
  return R"({"name": )" + Quoted(l3.name) + Member("vrf", l3.vrf) +
         Member("kernel-name", l3.kernel_name) +
         (l3.ipv4.empty() ? "" : R"(, "ipv4": {"address": {"ip": )" + Quoted(l3.ipv4) + "}}") +
         (l3.ipv6.empty() ? "" : R"(, "ipv6": )" + Ipv6Json(l3.ipv6)) + "}";
}

std::string ListeningRow(const Listening& listening) {
  return R"({"name": )" + Quoted(listening.name) + R"(, "udp-port": )" +
         std::to_string(listening.udp_port) + "}";
}

/// The members of a configuration that tell of interfaces and of where notifications go.
std::string TargetsJson(const Configuration& configuration) {
  return R"("metacli-internal:internal": {"vrf-config": {"stringTOindex": )" +
         Rows(configuration.vrfs, VrfRow) + R"(}}, "snmp:snmp": {"target": )" +
         Rows(configuration.targets, TargetRow) + R"(, "agent": {"listen": {"interface": )" +
         Rows(configuration.listening, ListeningRow) +
         R"(}}}, "config:config": {"interface": {"l3": )" + Rows(configuration.l3, L3Row) +
         R"(}}, "SNMP-TARGET-MIB:SNMP-TARGET-MIB": {"snmpTargetAddrTable": )" +
         R"({"snmpTargetAddrEntry": )" + Rows(configuration.targets, AddressRow) +
         R"(}, "snmpTargetParamsTable": {"snmpTargetParamsEntry": )" +
         Rows(configuration.targets, ParametersRow) + "}}";
}

}  // namespace

std::string StartupJson(const Configuration& configuration) {
  std::vector<std::string> extra;
  for (const std::string& entry : configuration.extra) extra.push_back(Quoted(entry));
  return R"({"confd_dyncfg:confdConfig": {"snmpAgent": {"enabled": )" +
         std::string(configuration.enabled ? "true" : "false") + R"(, "ip": )" +
         Quoted(configuration.ip) + R"(, "port": )" + std::to_string(configuration.port) +
         R"(, "extraIpPorts": [)" + Joined(extra) +
         R"(]}}, "SNMP-COMMUNITY-MIB:SNMP-COMMUNITY-MIB": {"snmpCommunityTable": )" +
         R"({"snmpCommunityEntry": )" + Rows(configuration.communities, CommunityRow) + "}}, " +
         TargetsJson(configuration) + "}";
}

}  // namespace contract
