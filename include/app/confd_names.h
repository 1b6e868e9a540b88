// ConfD paths, namespace hashes and tag hashes that the handlers follow. The hashes are those of
// the device's compiled schema.
#pragma once

#include <cstdint>

namespace app {

namespace path {
constexpr char kAgentEnabled[] = "/confd_dyncfg:confdConfig/snmpAgent/enabled";
constexpr char kAgentIp[] = "/confd_dyncfg:confdConfig/snmpAgent/ip";
constexpr char kAgentPort[] = "/confd_dyncfg:confdConfig/snmpAgent/port";
constexpr char kAgentExtraIpPorts[] = "/confd_dyncfg:confdConfig/snmpAgent/extraIpPorts";
constexpr char kListenInterface[] = "/snmp/agent/listen/interface";
constexpr char kL3[] = "/config/interface/l3";
constexpr char kTarget[] = "/snmp/target";
constexpr char kCommunityEntry[] =
    "/SNMP_COMMUNITY_MIB:SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry";
constexpr char kTargetParamsEntry[] =
    "/SNMP_TARGET_MIB:SNMP-TARGET-MIB/snmpTargetParamsTable/snmpTargetParamsEntry";
constexpr char kTargetAddrEntry[] =
    "/SNMP_TARGET_MIB:SNMP-TARGET-MIB/snmpTargetAddrTable/snmpTargetAddrEntry";
constexpr char kVrfConfig[] = "/metacli-internal:internal/metacli-internal:vrf-config";
}  // namespace path

namespace ns {
constexpr int32_t kConfdDyncfg = 0x11E87650;
constexpr int32_t kSnmp = 0x1ECDF09A;
constexpr int32_t kIntf = 0x139627C1;
constexpr int32_t kSnmpCommunityMib = 0x1E0709BF;
constexpr int32_t kSnmpTargetMib = 0x54A1ACA8;
}  // namespace ns

namespace tag {
constexpr uint32_t kEnabled = 0x0BC47BAF;
constexpr uint32_t kExtraIpPorts = 0x4F2DD360;
constexpr uint32_t kIp = 0x61FA2CDB;
constexpr uint32_t kPort = 0x009E8010;
constexpr uint32_t kInterface = 0x0D34EE32;
constexpr uint32_t kUdpPort = 0x0801C63A;
constexpr uint32_t kRedirPort = 0x5A4D4401;
constexpr uint32_t kVrf = 0x4C5F3E78;
}  // namespace tag

}  // namespace app
