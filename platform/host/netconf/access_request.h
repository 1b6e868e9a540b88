// Requests as their users may make them (RFC 8341).
#pragma once

#include <string>

#include "netconf/access_control.h"
#include "netconf/operations.h"

namespace host {

/// As Perform(), within what `peer` may do. Throws AccessDenied for what he may not, which is
/// counted, and RpcError for what Perform() throws as a Refusal: one that is about something he may
/// not read tells neither its place nor its reason.
Answer PerformAs(const Peer& peer, AccessControl* control, Request request);

}  // namespace host
