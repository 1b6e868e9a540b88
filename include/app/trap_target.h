// Where a dying-gasp trap is sent, and the message that is sent there.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "nettypes/nettypes.h"

/// One destination of the dying-gasp trap.
struct TrapTarget {
  TrapTarget() = default;
  TrapTarget(std::string target_name, nettypes::IPv4Addr address, uint16_t udp_port,
             std::string security_name, std::string trap_community, int32_t reserved_value);

  /// "Target NAME, IP ADDRESS:PORT, community COMMUNITY, sec_name SECURITY NAME".
  std::string ToString() const;

  std::string name;       ///< snmpTargetAddrName; the key of the target, too.
  nettypes::IPv4Addr ip;  ///< 0.0.0.0 by default.
  uint16_t port = 0;      ///< UDP port.
  std::string sec_name;   ///< snmpTargetParamsSecurityName of the target's parameters.
  std::string community;  ///< What the trap carries as community; empty when none was found.
  int32_t reserved = 0;   ///< Carried along to the driver.
};

/// Compares all but `reserved`.
bool operator==(const TrapTarget& a, const TrapTarget& b);
bool operator!=(const TrapTarget& a, const TrapTarget& b);

/// Stands for "no usable target".
extern const TrapTarget kEmptyTrapTarget;

/// Targets by name, in the order of the names' bytes.
using TargetMap = std::map<std::string, TrapTarget>;

/// snmpCommunitySecurityName by snmpCommunityIndex.
using CommunityMap = std::map<std::string, std::string>;

/// What the dying-gasp driver needs of one target.
struct DyingGaspEntry : TrapTarget {
  explicit DyingGaspEntry(const TrapTarget& target) : TrapTarget(target) {}

  std::vector<uint8_t> message;  ///< The whole SNMP message, BER encoded.

  /// Where the four bytes of sysUpTime begin in `message`: the sender writes the time since the
  /// device's start there, in hundredths of a second, most significant byte first.
  uint32_t uptime_offset = 0;
};

/// Fills `message`, which is empty, with an SNMPv2c message (RFC 1901, RFC 3416) with `community`
/// and the SNMPv2-Trap-PDU of the dying gasp (RFC 4878), and sets `uptime_offset` to the first byte
/// of its sysUpTime value. Throws std::length_error, with nothing changed, for a community of more
/// than 127 bytes, whose length would not fit the one byte that it has in the message.
void BuildTrapMessage(const std::string& community, std::vector<uint8_t>& message,
                      uint32_t& uptime_offset);
