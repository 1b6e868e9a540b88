// Requests and their answers (RFC 6241, section 4).
#pragma once

#include <string>
#include <utility>

#include "netconf/datastores.h"
#include "netconf/envelope.h"
#include "netconf/operations.h"
#include "netconf/rpc_error.h"

namespace host {

struct RpcReply {
  std::string xml;
  bool is_error = false;
  bool closes = false;  ///< The session ends when the reply is sent.
};

class RpcHandler {
 public:
  /// `datastores` outlives the object.
  RpcHandler(Datastores* datastores, RpcServices services)
      : datastores_(datastores), services_(std::move(services)) {}

  /// Answers one message of a session, which `user` has.
  RpcReply Handle(SessionId session, const std::string& user, const std::string& message);

  /// Whether a session has locked a datastore.
  bool HasLock(SessionId session) const;

 private:
  RpcReply Refused(const RpcEnvelope& envelope, const RpcError& error) const;

  Datastores* datastores_;
  RpcServices services_;
};

}  // namespace host
