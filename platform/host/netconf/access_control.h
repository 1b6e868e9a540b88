// Access control as a whole: the policy in force, what it has refused, and what is told of that.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "config/tree.h"
#include "netconf/access.h"
#include "netconf/access_peer.h"
#include "netconf/access_policy.h"

namespace host {

/// Which refusals of sessions are recorded: one in a minute for each.
class RefusalRecords {
 public:
  using Clock = std::chrono::steady_clock;

  bool IsDue(uint32_t session, Clock::time_point now);

 private:
  std::map<uint32_t, Clock::time_point> last_;  ///< Those of the last minute.
};

class AccessControl {
 public:
  /// `models` outlive the object.
  explicit AccessControl(const Schema& models) : models_(models) {}

  /// What `peer` may do under the configuration that is running; to be used at once. The rules are
  /// made ready when another one is running than the last time. Throws as PolicyOf().
  Access Of(const SharedTree& running, const Peer& peer);

  /// Whether `peer` may be sent a notification that is at the top of a model; false for one that
  /// the models do not have. Counts those that he may not. Throws as Of().
  bool MayReceive(const SharedTree& running, const Peer& peer, const std::string& module,
                  const std::string& name);

  // Counted, and recorded as RefusalRecords has it.

  void CountOperation(uint32_t session, const Peer& peer, const std::string& operation);
  void CountWrite(uint32_t session, const Peer& peer, const std::string& operation,
                  const AccessDenied& denied);

  /// Adds the counters to the data that a <get> is about to read.
  void AddState(Tree* data) const;

 private:
  void Record(uint32_t session, const std::string& text);

  const Schema& models_;
  std::weak_ptr<const lyd_node> source_;  ///< The configuration that the policy was made of.
  std::unique_ptr<const AccessPolicy> policy_;
  RefusalRecords records_;
  uint32_t denied_operations_ = 0;
  uint32_t denied_writes_ = 0;
  uint32_t denied_notifications_ = 0;
};

}  // namespace host
