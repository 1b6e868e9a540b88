// A trap message as the agent's library reads it.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace host::test {

/// One variable binding.
struct Binding {
  std::string name;   ///< As numbers with dots between.
  uint8_t type = 0;   ///< The tag of the value.
  std::string value;  ///< A number in decimal, an object identifier as `name`, else the bytes.
};

bool operator==(const Binding& a, const Binding& b);
std::ostream& operator<<(std::ostream& stream, const Binding& binding);

struct DecodedTrap {
  long version = -1;  ///< As on the wire: 1 is SNMPv2c.
  std::string community;
  int command = 0;  ///< The tag of the PDU.
  long request_id = 0;
  long error_status = -1;
  long error_index = -1;
  std::vector<Binding> bindings;
};

/// None when the library refuses the bytes.
std::optional<DecodedTrap> DecodeTrap(std::vector<uint8_t> message);

/// The message for a community.
std::vector<uint8_t> MessageFor(const std::string& community, uint32_t* uptime_offset);

/// The same with `uptime` written where the message says.
std::vector<uint8_t> MessageFor(const std::string& community, uint32_t uptime);

}  // namespace host::test
