#include "app/redir_port_table.h"

#include <algorithm>

uint16_t RedirPortTable::Allocate(const std::string& name) {
  const auto row = by_name_.find(name);
  if (row != by_name_.end()) return row->second;
  const uint16_t port = LowestFree();
  Add(name, port);
  return port;
}

void RedirPortTable::Add(const std::string& name, uint16_t port) {
  if (by_port_.count(port) != 0 || by_name_.count(name) != 0) return;
  by_name_.emplace(name, port);
  by_port_.emplace(port, name);
}

void RedirPortTable::Erase(const std::string& name) {
  const auto row = by_name_.find(name);
  if (row == by_name_.end()) return;
  const uint16_t port = row->second;
  by_port_.erase(port);
  by_name_.erase(row);
  if (port >= kFirstRedirPort) taken_below_ = std::min(taken_below_, port);
}

uint16_t RedirPortTable::LowestFree() {
  uint16_t candidate = taken_below_;
  for (auto row = by_port_.lower_bound(candidate); row != by_port_.end() && row->first == candidate;
       ++row) {
    // Behind 65535 comes 0, which no search goes beyond.
    if (++candidate == 0) return 0;
  }
  taken_below_ = candidate;
  return candidate;
}
