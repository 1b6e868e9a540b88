// Which events a subscriber asks for.
#pragma once

#include <libyang/libyang.h>

#include <optional>
#include <string>
#include <vector>

#include "config/tree.h"
#include "netconf/event_log.h"
#include "netconf/search_process.h"

namespace host {

/// The tree of an event's element, not validated; `context` has the models and outlives it. Throws
/// Refusal for one that they do not have.
Tree ParseEvent(const ly_ctx* context, const std::string& xml);

/// An event is selected as a whole or not at all: by a subtree filter when it leaves something of
/// the event, by an XPath expression when it finds something in it (RFC 5277, 2.1.1 and 5).
class EventFilter {
 public:
  /// Keeps a copy of the <filter> of `operation`, which may have none: then all are selected.
  /// `limits` are of one look at some events by XPath. Throws RpcError: missing-attribute for a
  /// filter by XPath without an expression, invalid-value for one that selects no nodes, too-big as
  /// SelectSubtree().
  explicit EventFilter(const lyd_node* operation, const SearchLimits& limits = {});

  /// For each of `events` whether it is selected. XPath is looked for by a process of its own, once
  /// for all of them. Throws RpcError as SearchInCopy() does, and Refusal for an event that its
  /// model does not have.
  std::vector<bool> Select(const std::vector<const Event*>& events) const;

 private:
  std::vector<bool> Matches(const std::vector<const lyd_node*>& events) const;

  SearchLimits limits_;
  Tree operation_;  ///< Null when there is no filter.
  std::optional<std::string> xpath_;
};

}  // namespace host
