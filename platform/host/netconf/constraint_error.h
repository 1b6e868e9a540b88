// What is told of a constraint that a configuration breaks (RFC 7950, section 15).
#pragma once

#include "netconf/rpc_error.h"

namespace host {

/// The error of a configuration that is refused: with the leafs that are not unique (15.1), or the
/// choice that is missing (15.7), or the list that has too many entries (15.2), as far as the
/// refusal's reason names them; unknown-element for what a `when` keeps out (8.3.2).
RpcError ConstraintError(const Refusal& refusal);

}  // namespace host
