// The headers of the agent's library, in the order that they need, and its set of descriptors.
#pragma once

// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <net-snmp/agent/agent_callbacks.h>
#include <net-snmp/library/large_fd_set.h>
// clang-format on

namespace host {

/// Owns a set of descriptors, empty at first.
class DescriptorSet {
 public:
  DescriptorSet() { netsnmp_large_fd_set_init(&set_, FD_SETSIZE); }
  ~DescriptorSet() { netsnmp_large_fd_set_cleanup(&set_); }

  DescriptorSet(const DescriptorSet&) = delete;
  DescriptorSet& operator=(const DescriptorSet&) = delete;

  netsnmp_large_fd_set* Get() { return &set_; }

 private:
  netsnmp_large_fd_set set_ = {};
};

}  // namespace host
