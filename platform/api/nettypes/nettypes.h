// Addresses, as the device's address library has them.
#pragma once

#include <netinet/in.h>

#include <array>
#include <cstdint>
#include <string>

namespace nettypes {

/// An IP address of either family.
class IPAddr {
 public:
  virtual ~IPAddr() = default;

  /// The usual text form: dotted decimal, or that of RFC 5952 without brackets.
  virtual std::string to_string() const = 0;
};

class IPv4Addr : public IPAddr {
 public:
  /// 0.0.0.0
  IPv4Addr() : address_{} {}

  /// `address` in network order.
  explicit IPv4Addr(in_addr address) : address_(address) {}

  std::string to_string() const override;

  /// In network order.
  in_addr Address() const { return address_; }

  bool operator==(const IPv4Addr& other) const { return address_.s_addr == other.address_.s_addr; }
  bool operator!=(const IPv4Addr& other) const { return !(*this == other); }

 private:
  in_addr address_;
};

/// A link-layer address; all zero by default.
class MACAddr {
 public:
  MACAddr() = default;
  explicit MACAddr(const std::array<uint8_t, 6>& bytes) : bytes_(bytes) {}

 private:
  [[maybe_unused]] std::array<uint8_t, 6> bytes_ = {};
};

class IPv6Addr : public IPAddr {
 public:
  /// An address and the link-layer address of its owner, all zero where it is not known.
  IPv6Addr(const in6_addr& address, const MACAddr& mac) : address_(address), mac_(mac) {}

  std::string to_string() const override;

 private:
  in6_addr address_;
  [[maybe_unused]] MACAddr mac_;
};

}  // namespace nettypes
