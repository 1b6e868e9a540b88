// SNMP messages as bytes, made and read without the agent's library.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace host::test {

/// What a message asks of an object of the system group.
enum class Operation : uint8_t { kGet = 0xa0, kGetNext = 0xa1, kSet = 0xa3 };

/// Groups of objects, 1.3.6.1.2.1.`group`.
enum : uint8_t { kSystem = 1, kSnmp = 11 };

/// Objects of a group, by their last number but one.
enum : uint8_t {
  kSysDescr = 1,
  kSysUpTime = 3,
  kSysContact = 4,
  kSysName = 5,
  kSysLocation = 6,
  kSysServices = 7,
  kInBadCommunityNames = 4,
};

/// An SNMPv2c message with one object, 1.3.6.1.2.1.`group`.`object`.0. A set writes an empty text.
struct Message {
  std::string community = "public";
  Operation operation = Operation::kGet;
  uint8_t object = kSysDescr;
  int32_t id = 1;
  uint8_t group = kSystem;
  uint8_t version = 1;  ///< As on the wire: 0 is SNMPv1, 1 is SNMPv2c.
};

std::string Encode(const Message& message);

/// A request for the engine's identity, which an SNMPv3 agent would answer to everybody.
std::string EncodeDiscovery();

/// An answer with one object.
struct Response {
  int32_t id = 0;
  int32_t error = 0;  ///< The error status.
  uint8_t value_type = 0;
  std::string value;  ///< The value's bytes.
};

/// None when the bytes are no answer.
std::optional<Response> Decode(std::string_view bytes);

}  // namespace host::test
