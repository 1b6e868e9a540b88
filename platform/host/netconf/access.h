// What one user may do (RFC 8341, 3.4).
#pragma once

#include <libyang/libyang.h>

#include <string>
#include <vector>

#include "config/yang_data.h"
#include "netconf/access_peer.h"
#include "netconf/access_policy.h"
#include "netconf/rpc_error.h"

namespace host {

/// An access that was refused: access-denied.
class AccessDenied : public RpcError {
 public:
  /// `what` tells people the operation.
  explicit AccessDenied(const std::string& what)
      : RpcError("protocol", "access-denied", "this user may not " + what) {}

  /// Of data: a path as libyang has it.
  AccessDenied(const std::string& what, const std::string& path)
      : RpcError(RpcError("application", "access-denied", "this user may not " + what).At(path)) {}
};

/// The rights of one user; made for each request. The policy outlives it.
class Access {
 public:
  Access(const AccessPolicy& policy, const Peer& peer);

  /// Whether an operation of the models may be requested; close-session always may.
  bool MayExecute(const lysc_node* operation) const;

  /// Whether a notification of the models may be sent, given what it stands in, null for nothing.
  bool MayReceive(const lysc_node* notification, const lyd_node* parent) const;

  /// Whether something may be done to an element of the data, whatever it stands in.
  bool Permits(AccessOp operation, const AccessPlace& place) const;

  /// Whether an element may be read with all that it stands in.
  bool MayRead(const AccessPlace& place) const;

  /// Whether nothing of the data is kept from this user, so that nothing has to be looked at.
  bool MayReadAll() const { return may_read_all_; }
  bool MayWriteAll() const { return may_write_all_; }

  /// Takes away what may not be read, an entry as a whole when one of its keys may not. Linear.
  void Prune(Tree* data) const;

 private:
  bool MayDoAll(unsigned operations) const;
  bool PermitsByDefault(AccessOp operation, const lysc_node* element) const;
  void CollectHidden(lyd_node* siblings, std::vector<lyd_node*>* hidden) const;
  bool IsHidden(lyd_node* node) const;

  const AccessPolicy& policy_;
  bool is_unlimited_;
  std::vector<const AccessRule*> rules_;  ///< Those about the user's groups, in order.
  bool may_read_all_;
  bool may_write_all_;
};

}  // namespace host
