// The first look at an operator's message.
//
// libxml2 takes it, as libyang 2.1.30 reads more than XML has, and null pointers at some of it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "netconf/attributes.h"
#include "netconf/rpc_error.h"

namespace host {

/// The root of a message, and whether libyang can read what is in it.
struct MessageHead {
  std::string ns;
  std::string name;
  std::vector<MessageAttribute> attributes;

  /// The name of an element behind one of the same name and without a namespace, which libyang
  /// must not see; empty when there is none.
  std::string unreadable;

  /// What CheckAttribute() has against the first attribute below the root that it refuses; libyang
  /// passes some of these over.
  std::optional<RpcError> refused_attribute;
};

/// Throws RpcError, malformed-message, for what is no XML document with declared prefixes, or has a
/// document type (RFC 6241, 3) or a zero byte.
MessageHead ReadHead(const std::string& message);

}  // namespace host
