// The operations of the protocol (RFC 6241, section 7; RFC 6022; RFC 6243).
#pragma once

#include <libyang/libyang.h>

#include <functional>
#include <memory>
#include <string>

#include "config/yang_data.h"
#include "netconf/access_control.h"
#include "netconf/datastores.h"
#include "netconf/event_log.h"
#include "netconf/subscription.h"

namespace host {

/// What requests reach besides the datastores.
struct RpcServices {
  /// State data of all kinds, for <get>.
  std::function<Tree()> state;

  /// Ends a session for another one; false when there is none of that number.
  std::function<bool(SessionId session, SessionId killer)> kill;

  /// What there is to subscribe to, null for nothing, and the way to: false when the session is
  /// subscribed already.
  const EventLog* events = nullptr;
  std::function<bool(SessionId session, std::unique_ptr<Subscription> subscription)> subscribe =
      nullptr;
};

/// One request that its model has checked, and what it works on.
struct Request {
  const lyd_node* operation;  ///< The element in the <rpc>; the envelope's.
  Author author;              ///< Who asks.
  Datastores* datastores;
  const RpcServices* services;
  const Access* access = nullptr;    ///< What the user may do.
  AccessControl* control = nullptr;  ///< What made it.

  ly_ctx* Context() const { return datastores->Models().Context(); }
};

struct Answer {
  std::string content;  ///< What stands in the reply, as XML.
  bool closes = false;  ///< The session ends when the reply is sent.
};

/// Does what is requested. Throws Refusal and other exceptions of what cannot be done; of an
/// operation that there is not, RpcError, operation-not-supported.
Answer Perform(const Request& request);

}  // namespace host
