// What the process has set up in the kernel for packets of VRFs.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "rules/policy_rules.h"
#include "rules/redirects.h"

namespace host {

/// Told which mark the sockets at a redirect port have to send with: the number of a routing table,
/// 0 for none.
using MarkObserver = std::function<void(uint16_t redirect_port, uint32_t mark)>;

/// Whether the configuration in force asks for a routing rule.
using DestinationQuery = std::function<bool(const DestinationRule& rule)>;

/// Told that the kernel refuses a rule, which is tried again, and that it does no longer.
using OutcomeObserver = std::function<void(const RuleOutcome& outcome)>;

/// One object in a process, since both are known by who made them: it removes what an earlier one
/// has left, and with its end everything that it has set up.
///
/// A redirect brings a request to the agent; its mark and the routing rule of that let the answer
/// leave by the table of the VRF that the request came from.
class Rules {
 public:
  /// Tells at once what there is, then every change, within the call that makes it.
  void SetMarkObserver(MarkObserver observer);

  /// To be called once all that is configured was added: makes the rules of destinations, and then
  /// removes what is left of an earlier run.
  void Settle();

  /// Called whenever something is refused, so that Retry() comes in a while.
  void SetRefusalObserver(std::function<void()> on_refusal) { on_refusal_ = std::move(on_refusal); }

  /// It must not throw.
  void SetOutcomeObserver(const OutcomeObserver& observer) {
    on_outcome_ = observer;
    policy_rules_.SetOutcomeObserver(observer);
  }

  /// Both together; `table` is the routing table of the interface's VRF. True when it is so
  /// afterwards; no kernel call when it was so before. The reason of a failure is logged; it is
  /// tried again until it is done or the contrary is asked for.
  bool AddRedirect(const std::string& kernel_name, uint16_t port, uint16_t redirect_port,
                   uint32_t table);
  bool DeleteRedirect(const std::string& kernel_name, uint16_t port, uint16_t redirect_port);

  /// Asked before a rule of a destination is deleted: several targets may need the same one. What
  /// it throws passes, and nothing has changed then.
  void SetDestinationQuery(DestinationQuery is_wanted);

  /// UDP packets to one destination are routed by a table. True when it is so (no longer so)
  /// afterwards, when a rule stays that is still wanted, and before Settle(), which makes them. The
  /// reason of a failure is logged; it is tried again as a redirect is.
  bool AddDestination(const DestinationRule& rule);
  bool DeleteDestination(const DestinationRule& rule);

  /// Whether they are there.
  bool HasRedirect(const std::string& kernel_name, uint16_t port, uint16_t redirect_port) const;
  bool HasDestination(const DestinationRule& rule) const {
    return policy_rules_.HasDestination(rule);
  }

  /// False when the agent is kept from hearing what arrives in VRF devices.
  bool HearsVrfDevices() const { return policy_rules_.HearsVrfDevices(); }

  /// The kernel's last reason for refusing them; empty when it did not.
  std::string WhyNoRedirect(const std::string& kernel_name, uint16_t port,
                            uint16_t redirect_port) const;
  std::string WhyNoDestination(const DestinationRule& rule) const {
    return policy_rules_.WhyNotDestination(rule);
  }

  /// Tries again what the kernel refused. True when nothing is refused any more.
  bool Retry();

  /// Puts back the routing rules that somebody else has removed. Redirects need none of this: their
  /// table belongs to this process, and the kernel keeps others from changing it.
  void Restore();

 private:
  struct Entry {
    uint16_t redirect_port;
    uint32_t table;
  };
  using Key = std::pair<std::string, uint16_t>;

  /// What the kernel refused of a redirect.
  struct Refusal {
    bool add;
    Entry entry;
    std::string reason;
  };

  uint32_t MarkOf(uint16_t redirect_port) const;
  void Tell(uint16_t redirect_port) const;
  bool TryAdd(const Key& key, const Entry& entry, std::string& reason);
  bool TryDelete(const Key& key);
  void Refused(const Key& key, bool add, const Entry& entry, const std::string& reason);
  void Heal(const Key& key);
  void TellOutcome(const Key& key, const Refusal& refusal, const std::string& reason) const;
  bool HasRefused() const;
  void TellRefusal() const;
  void Enter(uint16_t redirect_port, uint32_t table);
  void Forget(const Entry& entry);

  Redirects redirects_;
  PolicyRules policy_rules_;
  std::map<Key, Entry> entries_;
  std::map<Key, Refusal> refusals_;
  std::function<void()> on_refusal_;
  OutcomeObserver on_outcome_;
  /// The tables that a redirect port answers by, the newest last: more than one only while an old
  /// redirect is still there.
  std::map<uint16_t, std::vector<uint32_t>> tables_;
  MarkObserver observer_;
  DestinationQuery is_wanted_;
};

}  // namespace host
