// Where the device's models have what this platform itself reads.
#pragma once

namespace host {

// As ConfD writes paths, a module's name or prefix in front of what it is the top of. A platform
// for another device has other ones, and the names of leaves below them stand where they are read.

constexpr char kAgentPath[] = "/confd_dyncfg:confdConfig/snmpAgent";
constexpr char kAgentIpPath[] = "/confd_dyncfg:confdConfig/snmpAgent/ip";
constexpr char kAgentPortPath[] = "/confd_dyncfg:confdConfig/snmpAgent/port";
constexpr char kAgentExtraPath[] = "/confd_dyncfg:confdConfig/snmpAgent/extraIpPorts";
constexpr char kCommunitiesPath[] =
    "/SNMP_COMMUNITY_MIB:SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry";
/// Whose keys and values are in no record, and are read by those alone whom a rule permits it.
constexpr const char* kSecretPaths[] = {kCommunitiesPath};

constexpr char kListenersPath[] = "/snmp/agent/listen/interface";
constexpr char kTargetsPath[] = "/snmp/target";
constexpr char kTargetRowsPath[] =
    "/SNMP_TARGET_MIB:SNMP-TARGET-MIB/snmpTargetAddrTable/snmpTargetAddrEntry";
constexpr char kL3InterfacesPath[] = "/config/interface/l3";
constexpr char kVrfsPath[] = "/metacli-internal:internal/metacli-internal:vrf-config/stringTOindex";

}  // namespace host
