// A routing rule of this process: its full key, and the messages that the kernel takes.
#pragma once

#include <netlink/msg.h>

#include <array>
#include <boost/asio/ip/address.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

namespace host {

/// The mark that this process's rules carry. It has no name among the system's protocols, and who
/// made a rule is known by it.
constexpr uint8_t kRulesProtocol = 175;

/// Between the rule of VRF devices (1000) and the one of the main table (32766); with a default
/// route in main, what is behind it is never asked. A goto leads forward only, so what belongs to
/// destinations lies in this order.
constexpr uint32_t kManyDestinationsPriority = 1200;
constexpr uint32_t kDestinationPriority = 1400;
constexpr uint32_t kLastBlockPriority = 1498;
constexpr uint32_t kBehindPriority = 1499;
constexpr uint32_t kMarkPriority = 1500;

/// Sends UDP packets to one address and port through a routing table.
struct DestinationRule {
  boost::asio::ip::address address;
  uint16_t port = 0;   ///< In host order.
  uint32_t table = 0;  ///< That of the VRF.
};

inline bool operator<(const DestinationRule& a, const DestinationRule& b) {
  return std::tie(a.address, a.port, a.table) < std::tie(b.address, b.port, b.table);
}

enum class RuleAction { kLookup, kGoto, kNothing };

/// All that a rule of this program can consist of (ip-rule(8), rtnetlink(7)).
struct RoutingRule {
  int family = 0;  ///< AF_INET or AF_INET6.
  uint32_t priority = 0;
  RuleAction action = RuleAction::kLookup;
  uint32_t target = 0;                       ///< The table to look in, or the priority to go on at.
  uint32_t mark = 0;                         ///< 0: whatever the packet's mark.
  bool inverted = false;                     ///< It is for what the selector does not match.
  std::array<uint8_t, 16> destination = {};  ///< In network order, IPv4 in front.
  uint8_t destination_bits = 0;              ///< 0: whatever the address.
  uint16_t first_port = 0;                   ///< Of UDP packets; 0: whatever the protocol.
  uint16_t last_port = 0;
};

inline bool operator<(const RoutingRule& a, const RoutingRule& b) {
  const auto key = [](const RoutingRule& r) {
    return std::tie(r.family, r.priority, r.action, r.target, r.mark, r.inverted, r.destination,
                    r.destination_bits, r.first_port, r.last_port);
  };
  return key(a) < key(b);
}

/// Packets with the mark `table` look in `table`.
RoutingRule MarkRule(int family, uint32_t table);

/// Packets to the destination look in its table.
RoutingRule LookupRule(const DestinationRule& rule, uint32_t priority);

/// The kernel takes no other ports in a rule, and so has none for port 65535.
constexpr uint16_t kFirstRulePort = 1;
constexpr uint16_t kLastRulePort = 65534;

/// The last rule of a block: UDP packets that come to it go on behind all blocks. It names their
/// ports because a deletion that names nothing matches every goto of that priority.
RoutingRule EndRule(uint32_t priority);

/// As operators and the log read it.
std::string RuleText(const RoutingRule& rule);

struct FreeMessage {
  void operator()(nl_msg* message) const { nlmsg_free(message); }
};

/// A message for the kernel, owned. Null when memory is short.
using RuleMessage = std::unique_ptr<nl_msg, FreeMessage>;

enum class RuleChange { kAdd, kDelete };

/// Adding is exclusive (EEXIST when it is there), deleting is by full key (ENOENT when not). To the
/// kernel two gotos that differ in nothing but where they lead are the same rule.
RuleMessage ChangeMessage(RuleChange change, const RoutingRule& rule);

/// Asks for all rules of a family.
RuleMessage DumpMessage(int family);

// Of messages that the kernel sent, which stay the caller's.

/// True when the rule that the kernel tells of was made by this program, now or in an earlier run.
bool IsOwnRule(nlmsghdr* rule);

/// True when the kernel tells that such a rule was deleted, by whomever.
bool IsOwnDeletion(nlmsghdr* rule);

/// The rule that the kernel tells of; none for one that has what RoutingRule has not.
std::optional<RoutingRule> ReadRule(nlmsghdr* rule);

/// Deletes exactly the rule that the kernel told of.
RuleMessage DeletionOf(nlmsghdr* rule);

}  // namespace host
