// Requests and their answers (RFC 6241, section 4).
#pragma once

#include <string>
#include <utility>

#include "netconf/access_control.h"
#include "netconf/datastores.h"
#include "netconf/envelope.h"
#include "netconf/operations.h"
#include "netconf/rpc_error.h"

namespace host {

struct RpcReply {
  std::string xml;  ///< The whole <rpc-reply>, without framing.
  bool is_error = false;
  bool is_bad_request = false;  ///< The message was no correct <rpc> (RFC 6022, 2.1.5).
  bool closes = false;          ///< The session ends when the reply is sent.
};

class RpcHandler {
 public:
  /// `datastores` outlives the object.
  RpcHandler(Datastores* datastores, RpcServices services)
      : datastores_(datastores), services_(std::move(services)), access_(datastores->Models()) {}

  /// Answers one message of a session, which `peer` has, without framing. What is refused is an
  /// answer as well, an <rpc-error>; behind a message that is no XML it closes the session. A
  /// client that does not know base:1.1 is told no tag that is new in it. Throws
  /// std::exception when the answer to what was done cannot be made, which then must not be told as
  /// refused.
  RpcReply Handle(SessionId session, const Peer& peer, const std::string& message,
                  bool knows_base_11 = true);

  /// Whether `peer` may be sent a notification. Throws as AccessControl::MayReceive().
  bool MayReceive(const Peer& peer, const std::string& module, const std::string& name) {
    return access_.MayReceive(datastores_->Running(), peer, module, name);
  }

  /// Whether a session has locked a datastore.
  bool HasLock(SessionId session) const;

 private:
  RpcReply Refused(const RpcEnvelope& envelope, const RpcError& error, bool knows_base_11) const;

  Datastores* datastores_;
  RpcServices services_;
  AccessControl access_;
};

}  // namespace host
