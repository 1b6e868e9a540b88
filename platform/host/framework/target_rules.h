// The routing rules that the configured targets ask for.
#pragma once

#include <memory>
#include <set>

#include "config/tree.h"
#include "rules/routing_rule.h"

namespace host {

/// The rules of all targets in a VRF. Reads from an open CDB session; linear in the number of
/// targets. Throws std::runtime_error when the schema lacks what is read.
std::set<DestinationRule> ReadTargetRules(int cdb_socket);

/// Answers many questions about one configuration by reading it once: a commit that deletes
/// thousands of targets asks for each of them.
class TargetRules {
 public:
  /// Whether a target of `running`, which `cdb_socket` reads, asks for `rule`. Throws as
  /// ReadTargetRules().
  bool Contain(const DestinationRule& rule, const SharedTree& running, int cdb_socket);

 private:
  std::weak_ptr<const lyd_node> read_from_;
  std::set<DestinationRule> rules_;
};

}  // namespace host
