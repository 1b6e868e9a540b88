// Where an SNMP listener is reached: an address and a UDP port.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <set>
#include <string>

namespace host {

struct Endpoint {
  std::string address;  ///< IPv4 or IPv6 as text, in its shortest usual form ("::1").
  uint16_t port = 0;    ///< In host order.
};

bool operator==(const Endpoint& a, const Endpoint& b);
bool operator!=(const Endpoint& a, const Endpoint& b);

/// By address text, then port.
bool operator<(const Endpoint& a, const Endpoint& b);

/// "10.0.0.1:161", "[::1]:161".
std::string ToText(const Endpoint& endpoint);
std::ostream& operator<<(std::ostream& stream, const Endpoint& endpoint);

/// Whether the endpoint, in its normal form, is at all addresses: 0.0.0.0 or ::.
bool IsWildcard(const Endpoint& endpoint);

/// The endpoint with its address in the one form that two texts of the same address share. A text
/// that is no address is left as it is.
Endpoint Normalized(const Endpoint& endpoint);

/// Each endpoint in its normal form: two texts of the same address become one.
std::set<Endpoint> Normalized(const std::set<Endpoint>& endpoints);

/// Reads "address:port", split at the last colon; an IPv6 address may stand in brackets. The port
/// is decimal, 1 to 65535. The result is in its normal form; none when the text is not like that.
std::optional<Endpoint> ParseEndpoint(const std::string& text);

}  // namespace host
