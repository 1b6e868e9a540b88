#include "app/trap_target.h"

#include <stdexcept>
#include <utility>

const TrapTarget kEmptyTrapTarget;

namespace {

/// SNMPv2-Trap-PDU with the bindings sysUpTime.0, snmpTrapOID.0 = dot3OamNonThresholdEvent,
/// dot3OamEventLogType = dyingGaspEvent (257) and dot3OamEventLogOui = 01:80:c2. A line is a field
/// or, for a binding, its SEQUENCE, name and value.
constexpr uint8_t kTrapPdu[] = {
    0xa7, 0x5f,                                                              //
    0x02, 0x03, 0x1e, 0xaf, 0x22,                                            // request-id
    0x02, 0x01, 0x00,                                                        // error-status
    0x02, 0x01, 0x00,                                                        // error-index
    0x30, 0x52,                                                              // variable-bindings
    0x30, 0x10,                                                              //
    0x06, 0x08, 0x2b, 0x06, 0x01, 0x02, 0x01, 0x01, 0x03, 0x00,              //
    0x43, 0x04, 0x00, 0x00, 0x00, 0x00,                                      //
    0x30, 0x17,                                                              //
    0x06, 0x0a, 0x2b, 0x06, 0x01, 0x06, 0x03, 0x01, 0x01, 0x04, 0x01, 0x00,  //
    0x06, 0x09, 0x2b, 0x06, 0x01, 0x02, 0x01, 0x81, 0x1e, 0x00, 0x02,        //
    0x30, 0x11,                                                              //
    0x06, 0x0b, 0x2b, 0x06, 0x01, 0x02, 0x01, 0x81, 0x1e, 0x01, 0x06, 0x01, 0x04,  //
    0x02, 0x02, 0x01, 0x01,                                                        //
    0x30, 0x12,                                                                    //
    0x06, 0x0b, 0x2b, 0x06, 0x01, 0x02, 0x01, 0x81, 0x1e, 0x01, 0x06, 0x01, 0x03,  //
    0x04, 0x03, 0x01, 0x80, 0xc2,                                                  //
};

/// Where the value of sysUpTime.0 begins in the PDU.
constexpr size_t kUptimeInPdu = 29;

/// The version, SNMPv2c, and the tag of the community, an OCTET STRING.
constexpr uint8_t kVersionAndTag[] = {0x02, 0x01, 0x01, 0x04};

constexpr uint8_t kSequence = 0x30;

/// A length of up to 127 is one byte; a longer one, up to 255, is two of which this is the first.
constexpr size_t kShortFormMax = 127;
constexpr uint8_t kLongFormOfOneByte = 0x81;

template <typename Bytes>
void Append(std::vector<uint8_t>& message, const Bytes& bytes) {
  message.insert(message.end(), std::begin(bytes), std::end(bytes));
}

}  // namespace

TrapTarget::TrapTarget(std::string target_name, nettypes::IPv4Addr address, uint16_t udp_port,
                       std::string security_name, std::string trap_community,
                       int32_t reserved_value)
    : name(std::move(target_name)),
      ip(std::move(address)),
      port(udp_port),
      sec_name(std::move(security_name)),
      community(std::move(trap_community)),
      reserved(reserved_value) {}

std::string TrapTarget::ToString() const {
  return "Target " + name + ", IP " + ip.to_string() + ":" + std::to_string(port) + ", community " +
         community + ", sec_name " + sec_name;
}

bool operator==(const TrapTarget& a, const TrapTarget& b) {
  return a.name == b.name && a.ip == b.ip && a.port == b.port && a.sec_name == b.sec_name &&
         a.community == b.community;
}

bool operator!=(const TrapTarget& a, const TrapTarget& b) {
  return a.name != b.name || a.ip != b.ip || a.port != b.port || a.sec_name != b.sec_name ||
         a.community != b.community;
}

void BuildTrapMessage(const std::string& community, std::vector<uint8_t>& message,
                      uint32_t& uptime_offset) {
  if (community.size() > kShortFormMax) {
    throw std::length_error("a trap's community has at most 127 bytes, not " +
                            std::to_string(community.size()));
  }
  const size_t content = sizeof kVersionAndTag + 1 + community.size() + sizeof kTrapPdu;
  message.reserve(content + 3);
  message.push_back(kSequence);
  if (content > kShortFormMax) message.push_back(kLongFormOfOneByte);
  message.push_back(static_cast<uint8_t>(content));
  Append(message, kVersionAndTag);
  message.push_back(static_cast<uint8_t>(community.size()));
  Append(message, community);
  uptime_offset = static_cast<uint32_t>(message.size() + kUptimeInPdu);
  Append(message, kTrapPdu);
}
