#include "framework/agent_settings.h"

#include <string>
#include <vector>

#include "confd/value_text.h"
#include "confd_cdb.h"
#include "config/device_paths.h"
#include "delivery/change.h"
#include "framework/cdb_reads.h"

namespace host {

const std::array<const char*, 3> kAgentAddresses = {kAgentIpPath, kAgentPortPath, kAgentExtraPath};

namespace {

constexpr char kIpv4Wildcard[] = "0.0.0.0";
constexpr char kIpv6Wildcard[] = "::";

common::OwnedValue AgentLeaf(int cdb_socket, const char* leaf) {
  confd_value_t value;
  Checked(cdb_get(cdb_socket, &value, "%s/%s", kAgentPath, leaf));
  return common::OwnedValue(value);
}

/// The ports that listening interfaces redirect to.
std::set<uint16_t> ReadRedirectPorts(int cdb_socket) {
  std::set<uint16_t> ports;
  const int rows = CountEntries(cdb_socket, kListenersPath);
  for (int row = 0; row < rows; ++row) {
    uint16_t port = 0;
    if (cdb_get_u_int16(cdb_socket, &port, "%s[%d]/redir-port", kListenersPath, row) == CONFD_OK) {
      ports.insert(port);
    } else if (confd_errno != CONFD_ERR_NOEXISTS) {
      Checked(CONFD_ERR);
    }
  }
  return ports;
}

std::vector<std::string> ReadCommunities(int cdb_socket) {
  std::vector<std::string> communities;
  const int rows = CountEntries(cdb_socket, kCommunitiesPath);
  communities.reserve(static_cast<size_t>(rows));
  for (int row = 0; row < rows; ++row) {
    communities.push_back(
        ReadLeaf(cdb_socket, EntryAt(kCommunitiesPath, row) + "snmpCommunityName"));
  }
  return communities;
}

}  // namespace

bool ReadAgentEnabled(int cdb_socket) {
  const common::OwnedValue enabled = AgentLeaf(cdb_socket, "enabled");
  return CONFD_GET_BOOL(&enabled.Value()) != 0;
}

std::set<Endpoint> ReadAgentListeners(int cdb_socket) {
  std::set<Endpoint> listeners;
  if (!ReadAgentEnabled(cdb_socket)) return listeners;
  const common::OwnedValue port = AgentLeaf(cdb_socket, "port");
  listeners.insert(
      {common::ValueText(AgentLeaf(cdb_socket, "ip").Value()), CONFD_GET_UINT16(&port.Value())});
  const common::OwnedValue extra = AgentLeaf(cdb_socket, "extraIpPorts");
  const std::set<uint16_t> redirect_ports = ReadRedirectPorts(cdb_socket);
  const confd_list& entries = extra.Value().val.list;
  for (unsigned int i = 0; i < entries.size; ++i) {
    // The model lets nothing else into the list.
    const Endpoint listener = ParseEndpoint(common::ValueText(entries.ptr[i])).value();
    listeners.insert(listener);
    // Redirected requests come by IPv6 as well.
    if (listener.address == kIpv4Wildcard && redirect_ports.count(listener.port) != 0) {
      listeners.insert({kIpv6Wildcard, listener.port});
    }
  }
  return listeners;
}

AgentSettings ReadAgentSettings(int cdb_socket) { return {ReadCommunities(cdb_socket)}; }

}  // namespace host
