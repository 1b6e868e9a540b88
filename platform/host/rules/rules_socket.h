// The socket to the kernel's routing.
#pragma once

#include <netlink/netlink.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "rules/routing_rule.h"
#include "rules/silence.h"

namespace host {

/// Codes are libnl's: 0 or a negative NLE_ number. After any failure but "is there already" and "is
/// not there" the socket is given up and all is asked once more by a new one: an answer that was
/// lost or comes late would be taken for the next request's. Each answer is waited for as Silence
/// has it; while that lasts, everything fails as "try again".
class RulesSocket {
 public:
  /// A rule with this program's protocol number, and the message that deletes exactly it.
  struct Listed {
    std::optional<RoutingRule> rule;  ///< None for one that this program does not make.
    RuleMessage deletion;
  };

  /// Makes one change and waits for the kernel's answer. Opens the socket at the first call.
  int Change(RuleChange change, const RoutingRule& rule);

  /// Deletes a rule that was listed.
  int Delete(const Listed& listed);

  /// All own rules of a family, in the kernel's order; `listed` is empty after a failure.
  int ListOwn(int family, std::vector<Listed>& listed);

 private:
  struct Free {
    void operator()(nl_sock* socket) const;
  };

  int Open();
  int Ask(nl_msg* message, std::vector<Listed>& listed);
  int AskOnce(nl_msg* message, std::vector<Listed>& listed);
  int TakeAnswer(uint32_t sequence, std::vector<Listed>& listed);

  std::unique_ptr<nl_sock, Free> socket_;
  std::vector<char> buffer_;
  Silence silence_;
};

/// The reason behind a code, in the words of the library.
std::string RulesErrorText(int code);

}  // namespace host
