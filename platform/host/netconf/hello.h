// How a session begins: what both sides can do (RFC 6241, section 8.1).
#pragma once

#include <libyang/libyang.h>

#include <string>
#include <vector>

#include "netconf/datastores.h"

namespace host {

/// What this server can do, with its models, as URIs (RFC 6241, section 8; the models as RFC
/// 6020, section 5.6.4, has them).
std::vector<std::string> Capabilities(const ly_ctx* context);

/// The server's <hello> to a session, without framing.
std::string ServerHello(const std::vector<std::string>& capabilities, SessionId session);

/// Reads a client's <hello>: true when the session goes on with chunked framing, which base:1.1
/// has. Throws std::runtime_error for a message that is none, or one without any of the two bases.
bool UsesChunks(ly_ctx* context, const std::string& hello);

}  // namespace host
