// The socket to the kernel's routing.
#pragma once

#include <netlink/netlink.h>

#include <memory>
#include <string>
#include <vector>

#include "rules/routing_rule.h"

namespace host {

/// Codes are libnl's: 0 or a negative NLE_ number.
class RulesSocket {
 public:
  /// Sends one change and waits for the kernel's answer. Opens the socket at the first call.
  int Change(RuleMessage message);

  /// Puts the deletions of all own rules of a family into `deletions`.
  int ListOwn(int family, std::vector<RuleMessage>& deletions);

 private:
  struct Free {
    void operator()(nl_sock* socket) const;
  };

  int Open();

  std::unique_ptr<nl_sock, Free> socket_;
};

/// The reason behind a code, as text.
std::string RulesErrorText(int code);

}  // namespace host
