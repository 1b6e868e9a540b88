// The operation that has a session be told of events, and what tells of it (RFC 5277).
#pragma once

#include <libyang/libyang.h>

#include <string>
#include <vector>

#include "config/tree.h"
#include "netconf/event_log.h"
#include "netconf/operations.h"

namespace host {

/// Subscribes the session to the stream of all events. Throws RpcError as RFC 5277, 2.1.1, has it:
/// missing-element for a stop without a start, bad-element for a start that is to come or a stop
/// before the start; invalid-value for another stream, operation-failed where the session is
/// subscribed already, operation-not-supported where there are no events; and what EventFilter has
/// against the filter.
std::string CreateSubscription(const Request& request);

/// Whether the models of events are there.
bool HasEventModels(const ly_ctx* context);

/// What a <hello> tells of them, nothing without the models.
std::vector<std::string> EventCapabilities(const ly_ctx* context);

/// The streams, as state data; nothing without the models.
Tree StreamsState(ly_ctx* context, const EventLog& events);

}  // namespace host
