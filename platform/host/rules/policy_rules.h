// The routing rules of the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "rules/kernel_switch.h"
#include "rules/routing_rule.h"
#include "rules/rules_socket.h"

namespace host {

/// The rules in the kernel are known by their protocol number; others are never touched. Adding
/// what is there and deleting what is not make no kernel call.
class PolicyRules {
 public:
  static constexpr char kVrfDevicesAccept[] = "/proc/sys/net/ipv4/udp_l3mdev_accept";

  /// Removes what an earlier run has left. `accept_file` is the setting that has sockets outside
  /// of VRF devices hear what arrives in them.
  explicit PolicyRules(std::string accept_file = kVrfDevicesAccept);

  /// Removes its rules.
  ~PolicyRules();

  PolicyRules(const PolicyRules&) = delete;
  PolicyRules& operator=(const PolicyRules&) = delete;

  /// Packets that carry the mark `table` are routed by that table, IPv4 and IPv6 alike. True when
  /// it is so afterwards; the reason of a failure is logged. A mark that is added more than once
  /// has to be deleted as often.
  bool AddMark(uint32_t table);

  /// Takes back one AddMark(). True when none was there, too.
  bool DeleteMark(uint32_t table);

  /// UDP packets to one destination are routed by a table. One deletion takes it back, however
  /// often it was added.
  bool AddDestination(const DestinationRule& rule);
  bool DeleteDestination(const DestinationRule& rule);

  bool HasDestination(const DestinationRule& rule) const { return destinations_.count(rule) > 0; }

  /// False when the setting of VRF devices is there and off now.
  bool HearsVrfDevices() const { return !accept_.IsOff(); }

  /// Puts back what somebody else has removed, and logs how much that was. One kernel call for each
  /// address family when nothing is missing.
  void Restore();

 private:
  void Sweep(int family);
  bool SweepOnce(int family);
  bool ChangeMark(RuleChange change, uint32_t table);
  bool ChangeMarkOf(int family, RuleChange change, uint32_t table);
  bool ChangeDestination(RuleChange change, const DestinationRule& rule);
  bool IsIncomplete(int family);
  size_t AddMissing(int family);
  bool AddOne(RuleMessage message, const std::string& purpose);
  bool Request(RuleMessage message, RuleChange change, const std::string& purpose);

  RulesSocket socket_;
  KernelSwitch accept_;
  bool has_ipv6_ = true;
  std::map<uint32_t, size_t> marks_;
  std::set<DestinationRule> destinations_;
};

}  // namespace host
