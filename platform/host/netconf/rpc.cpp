#include "netconf/rpc.h"

#include <exception>

#include "netconf/access_request.h"
#include "netconf/constraint_error.h"
#include "netconf/envelope.h"
#include "netconf/rpc_error.h"

namespace host {

namespace {

constexpr char kMalformed[] = "malformed-message";

}  // namespace

RpcReply RpcHandler::Handle(SessionId session, const Peer& peer, const std::string& message,
                            bool knows_base_11) {
  const RpcEnvelope envelope(datastores_->Models().Context(), message);
  Answer answer;
  try {
    const lyd_node* operation = envelope.Operation();
    answer = PerformAs(peer, &access_,
                       {operation,
                        {peer.user, session, NameOf(operation)},
                        datastores_,
                        &services_,
                        nullptr,
                        nullptr});
  } catch (const RpcError& error) {
    return Refused(envelope, error, knows_base_11);
  } catch (const Refusal& refusal) {
    return Refused(envelope, ConstraintError(refusal), knows_base_11);
  } catch (const std::exception& error) {
    return Refused(envelope, RpcError("application", kNotTaken, error.what()), knows_base_11);
  }
  // What is done already must not be answered as refused, so a failure here goes to the caller.
  return {envelope.Reply(answer.content), false, false, answer.closes};
}

bool RpcHandler::HasLock(SessionId session) const {
  return datastores_->LockedBy(Datastore::kRunning) == session ||
         datastores_->LockedBy(Datastore::kCandidate) == session ||
         datastores_->LockedBy(Datastore::kStartup) == session;
}

RpcReply RpcHandler::Refused(const RpcEnvelope& envelope, const RpcError& error,
                             bool knows_base_11) const {
  // Behind a message that is none, it is not sure any more where messages begin and end.
  const bool closes = error.Tag() == kMalformed;
  // RFC 6241, appendix A: the tag is new in base:1.1.
  const RpcError told = closes && !knows_base_11 ? RpcError("rpc", kNotTaken, error.what()) : error;
  return {envelope.Reply(told.Xml(datastores_->Models().Context())), true, error.IsOfRpcLayer(),
          closes};
}

}  // namespace host
