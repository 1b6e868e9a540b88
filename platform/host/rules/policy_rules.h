// The routing rules of the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "rules/destination_layout.h"
#include "rules/kernel_switch.h"
#include "rules/routing_rule.h"
#include "rules/rules_socket.h"

namespace host {

/// What became of a rule that the kernel was asked for.
struct RuleOutcome {
  const char* kind;     ///< redirect or routing-rule.
  std::string subject;  ///< Which one, as the log has it.
  std::string reason;   ///< Of a refusal; empty for one that is over.
};

/// The rules in the kernel are known by their protocol number; others are never touched. Adding
/// what is there and deleting what is not make no kernel call. What the kernel refuses is told once
/// and stays wanted, until Retry() has done it. See ip-rule(8); tables are numbers of routing
/// tables, ports UDP ports in host order.
class PolicyRules {
 public:
  static constexpr char kVrfDevicesAccept[] = "/proc/sys/net/ipv4/udp_l3mdev_accept";

  /// Calls no kernel. `accept_file` is the setting that has sockets outside of VRF devices hear
  /// what arrives in them.
  explicit PolicyRules(std::string accept_file = kVrfDevicesAccept);

  /// Removes its rules.
  ~PolicyRules();

  PolicyRules(const PolicyRules&) = delete;
  PolicyRules& operator=(const PolicyRules&) = delete;

  /// Told of each refusal that is logged, and of its end. It must not throw.
  void SetOutcomeObserver(std::function<void(const RuleOutcome& outcome)> observer) {
    on_outcome_ = std::move(observer);
  }

  /// Makes the rules in the kernel those that are wanted: first what is missing, then away with
  /// what is left of an earlier run. Until then destinations are noted only, and all are made
  /// together here; so a rule of an earlier run that is still wanted never goes away.
  void Settle();

  /// Packets that carry the mark `table` are routed by that table, IPv4 and IPv6 alike. True when
  /// it is so afterwards; otherwise nothing is wanted any more. A mark that is added more than once
  /// has to be deleted as often.
  bool AddMark(uint32_t table);

  /// Takes back one AddMark(). False when the kernel refused, which Retry() then mends.
  bool DeleteMark(uint32_t table);

  /// The next refusal of a mark that is not there is told again.
  void ForgetMark(uint32_t table);

  /// UDP packets to one destination are routed by a table. One deletion takes it back, however
  /// often it was added. False when the kernel refused; it is wanted (unwanted) all the same.
  bool AddDestination(const DestinationRule& rule);
  bool DeleteDestination(const DestinationRule& rule);

  /// Whether the kernel has it, as far as it has told.
  bool HasDestination(const DestinationRule& rule) const;

  /// False when the setting of VRF devices is there and off now. Reads a file.
  bool HearsVrfDevices() const { return !accept_.IsOff(); }

  /// Why it has not, in the words of the library; empty when the kernel did not refuse it.
  std::string WhyNotDestination(const DestinationRule& rule) const;

  /// The same of a mark.
  std::string WhyNotMark(uint32_t table) const;

  /// Puts back what somebody else has removed, takes away what has this program's protocol number
  /// and is not wanted, and logs how much that was. One kernel call for each address family when
  /// all is as it should be.
  void Restore();

  /// Tries again what was refused. True when nothing is left of that.
  bool Retry();

  /// Whether there is something for Retry() to do.
  bool HasRefused() const;

 private:
  struct Difference {
    size_t added = 0;
    size_t removed = 0;
  };

  std::vector<int> Families() const;
  void Want(const RoutingRule& rule);
  void Unwant(const RoutingRule& rule);
  bool Do(RuleChanges changes);
  void FreeEnds(RuleChanges& changes) const;
  void NoteHealed();
  void TellOutcome(const RoutingRule& rule, const std::string& reason) const;
  RuleChanges AllChanges() const;
  bool Add(const RoutingRule& rule);
  bool Remove(const RoutingRule& rule);
  void NoteResult(RuleChange change, const RoutingRule& rule, int code);
  Difference Compare();
  void LeaveIpv6();
  bool ReadKernel(int family, std::vector<RulesSocket::Listed>& strangers);
  RoutingRule RuleOf(const DestinationRule& destination) const;
  RuleChanges LayOut(bool add, const DestinationRule& destination);

  RulesSocket socket_;
  KernelSwitch accept_;
  bool has_ipv6_ = true;
  bool settled_ = false;
  bool is_doubtful_ = false;  ///< What the kernel has: it did not tell, or an answer was lost.
  bool list_refused_ = false;
  std::map<uint32_t, size_t> marks_;
  std::set<DestinationRule> destinations_;
  DestinationLayout layout_;
  std::set<RoutingRule> wanted_;
  std::set<RoutingRule> present_;        ///< In the kernel, as far as it has told.
  std::map<RoutingRule, int> refusals_;  ///< Told already, with the code.
  std::function<void(const RuleOutcome& outcome)> on_outcome_;
};

}  // namespace host
