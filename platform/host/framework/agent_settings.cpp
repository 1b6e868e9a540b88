#include "framework/agent_settings.h"

#include <stdexcept>

#include "confd/value_text.h"
#include "confd_cdb.h"
#include "delivery/change.h"

namespace host {

namespace {

constexpr char kAgent[] = "/confd_dyncfg:confdConfig/snmpAgent";
constexpr char kCommunities[] =
    "/SNMP_COMMUNITY_MIB:SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry";

int Checked(int result) {
  if (result == CONFD_ERR) throw std::runtime_error(confd_lasterr());
  return result;
}

common::OwnedValue AgentLeaf(int cdb_socket, const char* leaf) {
  confd_value_t value;
  Checked(cdb_get(cdb_socket, &value, "%s/%s", kAgent, leaf));
  return common::OwnedValue(value);
}

bool ReadEnabled(int cdb_socket) {
  const common::OwnedValue enabled = AgentLeaf(cdb_socket, "enabled");
  return CONFD_GET_BOOL(&enabled.Value()) != 0;
}

std::set<Endpoint> ReadListeners(int cdb_socket) {
  std::set<Endpoint> listeners;
  const common::OwnedValue port = AgentLeaf(cdb_socket, "port");
  listeners.insert(
      {common::ValueText(AgentLeaf(cdb_socket, "ip").Value()), CONFD_GET_UINT16(&port.Value())});
  const common::OwnedValue extra = AgentLeaf(cdb_socket, "extraIpPorts");
  const confd_list& entries = extra.Value().val.list;
  for (unsigned int i = 0; i < entries.size; ++i) {
    // The model lets nothing else into the list.
    listeners.insert(ParseEndpoint(common::ValueText(entries.ptr[i])).value());
  }
  return listeners;
}

std::vector<std::string> ReadCommunities(int cdb_socket) {
  std::vector<std::string> communities;
  const int rows = Checked(cdb_num_instances(cdb_socket, "%s", kCommunities));
  for (int row = 0; row < rows; ++row) {
    confd_value_t name;
    Checked(cdb_get(cdb_socket, &name, "%s[%d]/snmpCommunityName", kCommunities, row));
    communities.push_back(common::ValueText(common::OwnedValue(name).Value()));
  }
  return communities;
}

}  // namespace

AgentSettings ReadAgentSettings(int cdb_socket) {
  AgentSettings settings;
  settings.enabled = ReadEnabled(cdb_socket);
  if (settings.enabled) settings.listeners = ReadListeners(cdb_socket);
  settings.communities = ReadCommunities(cdb_socket);
  return settings;
}

}  // namespace host
