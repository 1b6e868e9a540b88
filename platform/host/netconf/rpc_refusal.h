// What is wrong with a request that libyang refuses.
#pragma once

#include <libyang/libyang.h>

#include <string>

#include "netconf/rpc_error.h"

namespace host {

/// The refusal of a request from what libyang has to say about it, which is forgotten then.
/// malformed-message is for what is no XML.
RpcError TakeRequestError(ly_ctx* context);

}  // namespace host
