#include "snmp/endpoint.h"

#include <boost/asio/ip/address.hpp>
#include <charconv>
#include <tuple>

namespace host {

namespace {

using boost::asio::ip::make_address;

std::optional<uint16_t> ParsePort(const std::string& text) {
  uint16_t port = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, port);
  if (error != std::errc() || rest != end || port == 0) return std::nullopt;
  return port;
}

/// The address as Endpoint holds it; brackets go with IPv6 only.
std::optional<std::string> ParseAddress(const std::string& text) {
  const bool in_brackets = text.size() > 2 && text.front() == '[' && text.back() == ']';
  boost::system::error_code error;
  const auto address = make_address(in_brackets ? text.substr(1, text.size() - 2) : text, error);
  if (error || (in_brackets && !address.is_v6())) return std::nullopt;
  return address.to_string();
}

}  // namespace

bool operator==(const Endpoint& a, const Endpoint& b) {
  return std::tie(a.address, a.port) == std::tie(b.address, b.port);
}

bool operator!=(const Endpoint& a, const Endpoint& b) { return !(a == b); }

bool operator<(const Endpoint& a, const Endpoint& b) {
  return std::tie(a.address, a.port) < std::tie(b.address, b.port);
}

std::string ToText(const Endpoint& endpoint) {
  const bool is_v6 = endpoint.address.find(':') != std::string::npos;
  const std::string address = is_v6 ? "[" + endpoint.address + "]" : endpoint.address;
  return address + ":" + std::to_string(endpoint.port);
}

std::ostream& operator<<(std::ostream& stream, const Endpoint& endpoint) {
  return stream << ToText(endpoint);
}

bool IsWildcard(const Endpoint& endpoint) {
  return endpoint.address == "0.0.0.0" || endpoint.address == "::";
}

Endpoint Normalized(const Endpoint& endpoint) {
  Endpoint normalized = endpoint;
  boost::system::error_code error;
  const auto address = make_address(endpoint.address, error);
  if (!error) normalized.address = address.to_string();
  return normalized;
}

std::set<Endpoint> Normalized(const std::set<Endpoint>& endpoints) {
  std::set<Endpoint> normalized;
  for (const Endpoint& endpoint : endpoints) normalized.insert(Normalized(endpoint));
  return normalized;
}

std::optional<Endpoint> ParseEndpoint(const std::string& text) {
  const size_t colon = text.rfind(':');
  if (colon == std::string::npos) return std::nullopt;
  const auto address = ParseAddress(text.substr(0, colon));
  const auto port = ParsePort(text.substr(colon + 1));
  if (!address || !port) return std::nullopt;
  return Endpoint{*address, *port};
}

}  // namespace host
