#include "netconf/rpc.h"

#include <exception>

#include "netconf/envelope.h"
#include "netconf/rpc_error.h"

namespace host {

RpcReply RpcHandler::Handle(SessionId session, const std::string& user,
                            const std::string& message) {
  const RpcEnvelope envelope(datastores_->Models().Context(), message);
  Answer answer;
  try {
    const lyd_node* operation = envelope.Operation();
    answer = Perform({operation, {user, session, NameOf(operation)}, datastores_, &services_});
  } catch (const RpcError& error) {
    return Refused(envelope, error);
  } catch (const Refusal& refusal) {
    return Refused(envelope, RpcError("application", refusal));
  } catch (const std::exception& error) {
    return Refused(envelope, RpcError("application", kNotTaken, error.what()));
  }
  // What is done already must not be answered as refused, so a failure here goes to the caller.
  return {envelope.Reply(answer.content), false, answer.closes};
}

bool RpcHandler::HasLock(SessionId session) const {
  return datastores_->LockedBy(Datastore::kRunning) == session ||
         datastores_->LockedBy(Datastore::kCandidate) == session ||
         datastores_->LockedBy(Datastore::kStartup) == session;
}

RpcReply RpcHandler::Refused(const RpcEnvelope& envelope, const RpcError& error) const {
  // Behind a message that is none, it is not sure any more where messages begin and end.
  const bool closes = error.Tag() == "malformed-message";
  return {envelope.Reply(error.Xml(datastores_->Models().Context())), true, closes};
}

}  // namespace host
