// Requests and their answers (RFC 6241, sections 4 and 7; RFC 6022; RFC 6243).
#pragma once

#include <libyang/libyang.h>

#include <functional>
#include <string>

#include "config/tree.h"
#include "netconf/datastores.h"

namespace host {

/// What requests reach besides the datastores.
struct RpcServices {
  /// State data of all kinds, for <get>.
  std::function<Tree()> state;

  /// Ends a session; false when there is none of that number.
  std::function<bool(SessionId session)> kill;
};

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

  /// Answers one message of a session.
  RpcReply Handle(SessionId session, const std::string& message);

 private:
  using Operation = std::string (RpcHandler::*)(const lyd_node* operation);

  static Operation FindOperation(const lyd_node* operation);
  std::string Answer(const lyd_node* operation);
  ly_ctx* Context() const { return datastores_->Models().Context(); }
  Tree ContentOf(const lyd_node* config) const;
  Tree SourceOf(const lyd_node* operation) const;
  static std::string Data(const lyd_node* operation, const Tree& data);

  // Each returns what stands in the reply.
  std::string Get(const lyd_node* operation);
  std::string GetConfig(const lyd_node* operation);
  std::string EditConfig(const lyd_node* operation);
  std::string CopyConfig(const lyd_node* operation);
  std::string Commit(const lyd_node* operation);
  std::string DiscardChanges(const lyd_node* operation);
  std::string Validate(const lyd_node* operation);
  std::string Lock(const lyd_node* operation);
  std::string Unlock(const lyd_node* operation);
  std::string KillSession(const lyd_node* operation);
  std::string CloseSession(const lyd_node* operation);
  std::string GetSchema(const lyd_node* operation);

  Datastores* datastores_;
  RpcServices services_;
  SessionId session_ = 0;  ///< Of the request that is being answered.
};

}  // namespace host
