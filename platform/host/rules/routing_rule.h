// A routing rule of this process: its full key, and the messages that the kernel takes.
#pragma once

#include <netlink/msg.h>

#include <boost/asio/ip/address.hpp>
#include <cstdint>
#include <memory>
#include <tuple>

namespace host {

/// The mark that this process's rules carry. It has no name among the system's protocols, and who
/// made a rule is known by it.
constexpr uint8_t kRulesProtocol = 175;

/// Between the rule of VRF devices (1000) and the one of the main table (32766); with a default
/// route in main, what is behind it is never asked.
constexpr uint32_t kDestinationPriority = 1400;
constexpr uint32_t kMarkPriority = 1500;

/// Sends UDP packets to one address and port through a routing table.
struct DestinationRule {
  boost::asio::ip::address address;
  uint16_t port = 0;
  uint32_t table = 0;
};

inline bool operator<(const DestinationRule& a, const DestinationRule& b) {
  return std::tie(a.address, a.port, a.table) < std::tie(b.address, b.port, b.table);
}

struct FreeMessage {
  void operator()(nl_msg* message) const { nlmsg_free(message); }
};

/// Null when memory is short.
using RuleMessage = std::unique_ptr<nl_msg, FreeMessage>;

enum class RuleChange { kAdd, kDelete };

/// The rule "packets with the mark `table` look in `table`" of a family (AF_INET, AF_INET6).
RuleMessage MarkMessage(RuleChange change, int family, uint32_t table);

RuleMessage DestinationMessage(RuleChange change, const DestinationRule& rule);

/// Asks for all rules of a family.
RuleMessage DumpMessage(int family);

/// True when the rule that the kernel tells of was made by this program, now or in an earlier run.
bool IsOwnRule(nlmsghdr* rule);

/// True when the kernel tells that such a rule was deleted, by whomever.
bool IsOwnDeletion(nlmsghdr* rule);

/// Deletes exactly the rule that the kernel told of.
RuleMessage DeletionOf(nlmsghdr* rule);

}  // namespace host
