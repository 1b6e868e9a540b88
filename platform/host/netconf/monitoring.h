// What the server tells of itself (RFC 6022, RFC 8525).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "config/tree.h"
#include "netconf/datastores.h"
#include "netconf/session.h"

namespace host {

/// The state data of ietf-netconf-monitoring and ietf-yang-library: `sessions` are those of now,
/// `ended` the others since the start, `capabilities` what every <hello> tells. Throws Refusal when
/// the models lack them.
Tree MonitoringState(const Datastores& datastores, const std::vector<std::string>& capabilities,
                     const std::vector<SessionFacts>& sessions, const SessionTotals& ended);

}  // namespace host
