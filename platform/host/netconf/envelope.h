// The <rpc> around a request and the <rpc-reply> around its answer (RFC 6241, section 4).
#pragma once

#include <libyang/libyang.h>

#include <optional>
#include <string>

#include "config/tree.h"
#include "netconf/message.h"
#include "netconf/rpc_error.h"

namespace host {

constexpr char kNetconfNamespace[] = "urn:ietf:params:xml:ns:netconf:base:1.0";

class RpcEnvelope {
 public:
  /// Reads a message without framing; what is wrong with it is told by Operation(). `context` has
  /// the models and outlives the object.
  RpcEnvelope(ly_ctx* context, const std::string& message);

  /// The requested operation, checked against its model. Throws RpcError: malformed-message for
  /// what is no request, missing-attribute for one without a message-id,
  /// operation-not-supported for one that libyang cannot read, else what the model refuses. Stays
  /// the envelope's.
  const lyd_node* Operation() const;

  /// The answer with this content; it has the attributes of the request.
  std::string Reply(const std::string& content) const;

 private:
  void Read(ly_ctx* context, const std::string& message);

  MessageHead head_;  ///< Of the <rpc> element; nothing in it when the message has none.
  Tree envelope_;
  Tree operation_;
  std::optional<RpcError> error_;  ///< Why the operation could not be read.
};

}  // namespace host
