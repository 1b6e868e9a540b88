// Which redirect port belongs to which listening interface.
#pragma once

#include <cstdint>
#include <map>
#include <string>

/// The lowest redirect port that is handed out.
constexpr uint16_t kFirstRedirPort = 60600;

/// Rows of name and port; a name has at most one port and a port at most one name.
class RedirPortTable {
 public:
  /// The port of `name`; a name without one gets the lowest free port from kFirstRedirPort on, 0
  /// when all of them up to 65535 are taken.
  uint16_t Allocate(const std::string& name);

  /// Adds a row unless its port or its name has one already.
  void Add(const std::string& name, uint16_t port);

  /// Removes the row of `name`, if any; its port is free again.
  void Erase(const std::string& name);

 private:
  uint16_t LowestFree();

  std::map<std::string, uint16_t> by_name_;
  std::map<uint16_t, std::string> by_port_;

  /// Every port from kFirstRedirPort up to this one is taken. Only spares the search the walk over
  /// them, which would make filling the table quadratic.
  uint16_t taken_below_ = kFirstRedirPort;
};
