#include "rules/routing_rule.h"

#include <linux/fib_rules.h>
#include <linux/rtnetlink.h>
#include <netinet/in.h>
#include <netlink/attr.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace host {

namespace {

constexpr uint32_t kWholeMark = 0xffffffff;
constexpr uint32_t kNoSuppression = 0xffffffff;

RuleMessage NewMessage(int type, int flags) { return RuleMessage(nlmsg_alloc_simple(type, flags)); }

uint8_t ActionNumber(RuleAction action) {
  switch (action) {
    case RuleAction::kGoto:
      return FR_ACT_GOTO;
    case RuleAction::kNothing:
      return FR_ACT_NOP;
    default:
      return FR_ACT_TO_TBL;
  }
}

size_t AddressSize(int family) { return family == AF_INET ? 4 : 16; }

bool AppendHeader(nl_msg* message, const RoutingRule& rule) {
  fib_rule_hdr header = {};
  header.family = static_cast<uint8_t>(rule.family);
  header.dst_len = rule.destination_bits;
  header.action = ActionNumber(rule.action);
  header.flags = rule.inverted ? FIB_RULE_INVERT : 0;
  return nlmsg_append(message, &header, sizeof(header), NLMSG_ALIGNTO) == 0;
}

bool AppendAction(nl_msg* message, const RoutingRule& rule) {
  if (rule.action == RuleAction::kNothing) return true;
  const int attribute = rule.action == RuleAction::kGoto ? FRA_GOTO : FRA_TABLE;
  return nla_put_u32(message, attribute, rule.target) == 0;
}

bool AppendSelector(nl_msg* message, const RoutingRule& rule) {
  const fib_rule_port_range ports = {rule.first_port, rule.last_port};
  const auto size = static_cast<int>(AddressSize(rule.family));
  return (rule.mark == 0 || nla_put_u32(message, FRA_FWMARK, rule.mark) == 0) &&
         (rule.destination_bits == 0 ||
          nla_put(message, FRA_DST, size, rule.destination.data()) == 0) &&
         (rule.last_port == 0 || (nla_put_u8(message, FRA_IP_PROTO, IPPROTO_UDP) == 0 &&
                                  nla_put(message, FRA_DPORT_RANGE, sizeof(ports), &ports) == 0));
}

bool HasOwnProtocol(nlmsghdr* rule) {
  const nlattr* protocol = nlmsg_find_attr(rule, sizeof(fib_rule_hdr), FRA_PROTOCOL);
  return protocol != nullptr && nla_len(protocol) == sizeof(uint8_t) &&
         nla_get_u8(protocol) == kRulesProtocol;
}

/// False for a rule with what no rule of this program has.
bool ReadHeader(nlmsghdr* message, RoutingRule& rule) {
  const auto* header = static_cast<const fib_rule_hdr*>(nlmsg_data(message));
  rule.family = header->family;
  rule.destination_bits = header->dst_len;
  rule.inverted = (header->flags & FIB_RULE_INVERT) != 0;
  rule.action = header->action == FR_ACT_GOTO  ? RuleAction::kGoto
                : header->action == FR_ACT_NOP ? RuleAction::kNothing
                                               : RuleAction::kLookup;
  return ActionNumber(rule.action) == header->action && header->src_len == 0 && header->tos == 0;
}

bool ReadPorts(const nlattr* attribute, RoutingRule& rule) {
  fib_rule_port_range ports = {};
  if (nla_len(attribute) != sizeof(ports)) return false;
  memcpy(&ports, nla_data(attribute), sizeof(ports));
  rule.first_port = ports.start;
  rule.last_port = ports.end;
  return true;
}

bool ReadDestination(const nlattr* attribute, RoutingRule& rule) {
  const auto size = static_cast<size_t>(nla_len(attribute));
  if (size != AddressSize(rule.family)) return false;
  memcpy(rule.destination.data(), nla_data(attribute), size);
  return true;
}

/// False for one that no rule of this program has, or with another value.
bool ReadNumber(const nlattr* attribute, RoutingRule& rule) {
  if (nla_len(attribute) != sizeof(uint32_t)) return false;
  const uint32_t value = nla_get_u32(attribute);
  switch (nla_type(attribute)) {
    case FRA_PRIORITY:
      rule.priority = value;
      return true;
    case FRA_FWMARK:
      rule.mark = value;
      return true;
    case FRA_TABLE:
      if (rule.action == RuleAction::kLookup) rule.target = value;
      return rule.action == RuleAction::kLookup || value == 0;
    case FRA_GOTO:
      rule.target = value;
      return rule.action == RuleAction::kGoto;
    case FRA_FWMASK:
      return value == kWholeMark;
    case FRA_SUPPRESS_PREFIXLEN:
      return value == kNoSuppression;
    default:
      return false;
  }
}

/// Attributes that newer kernels than the headers tell (linux/fib_rules.h).
constexpr int kPortMask = 29;
constexpr int kLastKnown = 30;

/// A mask of ports is told with each port, and is whole then.
bool IsWholePortMask(const nlattr* attribute) {
  return nla_len(attribute) == sizeof(uint16_t) && nla_get_u16(attribute) == 0xffff;
}

/// What kernels of later years add to every rule cannot have been asked for by anybody.
bool ReadAttribute(const nlattr* attribute, RoutingRule& rule, bool& is_udp) {
  switch (nla_type(attribute)) {
    case FRA_PROTOCOL:
    case FRA_PAD:
      return true;
    case FRA_DST:
      return ReadDestination(attribute, rule);
    case FRA_DPORT_RANGE:
      return ReadPorts(attribute, rule);
    case FRA_IP_PROTO:
      is_udp = nla_len(attribute) == sizeof(uint8_t) && nla_get_u8(attribute) == IPPROTO_UDP;
      return is_udp;
    case kPortMask:
      return IsWholePortMask(attribute);
    default:
      return nla_type(attribute) > kLastKnown || ReadNumber(attribute, rule);
  }
}

std::string PortsText(const RoutingRule& rule) {
  if (rule.last_port == 0) return "";
  const std::string last =
      rule.first_port == rule.last_port ? "" : "-" + std::to_string(rule.last_port);
  return " ipproto udp dport " + std::to_string(rule.first_port) + last;
}

std::string DestinationText(const RoutingRule& rule) {
  if (rule.destination_bits == 0) return "";
  boost::asio::ip::address_v4::bytes_type v4;
  std::copy_n(rule.destination.begin(), v4.size(), v4.begin());
  const std::string address = rule.family == AF_INET
                                  ? boost::asio::ip::address_v4(v4).to_string()
                                  : boost::asio::ip::address_v6(rule.destination).to_string();
  const bool whole = rule.destination_bits == AddressSize(rule.family) * 8;
  return " to " + address + (whole ? "" : "/" + std::to_string(rule.destination_bits));
}

std::string ActionText(const RoutingRule& rule) {
  if (rule.action == RuleAction::kNothing) return " nop";
  return (rule.action == RuleAction::kGoto ? " goto " : " lookup ") + std::to_string(rule.target);
}

}  // namespace

RoutingRule MarkRule(int family, uint32_t table) {
  RoutingRule rule;
  rule.family = family;
  rule.priority = kMarkPriority;
  rule.target = table;
  rule.mark = table;
  return rule;
}

RoutingRule LookupRule(const DestinationRule& destination, uint32_t priority) {
  RoutingRule rule;
  rule.priority = priority;
  rule.target = destination.table;
  rule.first_port = rule.last_port = destination.port;
  if (destination.address.is_v4()) {
    const auto bytes = destination.address.to_v4().to_bytes();
    std::copy(bytes.begin(), bytes.end(), rule.destination.begin());
    rule.family = AF_INET;
  } else {
    rule.destination = destination.address.to_v6().to_bytes();
    rule.family = AF_INET6;
  }
  rule.destination_bits = static_cast<uint8_t>(AddressSize(rule.family) * 8);
  return rule;
}

RoutingRule EndRule(uint32_t priority) {
  RoutingRule rule;
  rule.family = AF_INET;
  rule.priority = priority;
  rule.action = RuleAction::kGoto;
  rule.target = kBehindPriority;
  rule.first_port = kFirstRulePort;
  rule.last_port = kLastRulePort;
  return rule;
}

std::string RuleText(const RoutingRule& rule) {
  const std::string mark = rule.mark == 0 ? "" : " mark " + std::to_string(rule.mark);
  return std::string(rule.family == AF_INET ? "IPv4" : "IPv6") + (rule.inverted ? " not" : "") +
         mark + DestinationText(rule) + PortsText(rule) + ActionText(rule);
}

RuleMessage ChangeMessage(RuleChange change, const RoutingRule& rule) {
  RuleMessage message = change == RuleChange::kAdd
                            ? NewMessage(RTM_NEWRULE, NLM_F_CREATE | NLM_F_EXCL)
                            : NewMessage(RTM_DELRULE, 0);
  const bool complete = message != nullptr && AppendHeader(message.get(), rule) &&
                        nla_put_u32(message.get(), FRA_PRIORITY, rule.priority) == 0 &&
                        nla_put_u8(message.get(), FRA_PROTOCOL, kRulesProtocol) == 0 &&
                        AppendAction(message.get(), rule) && AppendSelector(message.get(), rule);
  return complete ? std::move(message) : nullptr;
}

RuleMessage DumpMessage(int family) {
  RuleMessage message = NewMessage(RTM_GETRULE, NLM_F_DUMP);
  RoutingRule any;
  any.family = family;
  const bool complete = message != nullptr && AppendHeader(message.get(), any);
  return complete ? std::move(message) : nullptr;
}

bool IsOwnRule(nlmsghdr* rule) { return rule->nlmsg_type == RTM_NEWRULE && HasOwnProtocol(rule); }

bool IsOwnDeletion(nlmsghdr* rule) {
  return rule->nlmsg_type == RTM_DELRULE && HasOwnProtocol(rule);
}

std::optional<RoutingRule> ReadRule(nlmsghdr* message) {
  if (nlmsg_datalen(message) < static_cast<int>(sizeof(fib_rule_hdr))) return std::nullopt;
  RoutingRule rule;
  bool known = ReadHeader(message, rule);
  bool is_udp = false;
  int rest = nlmsg_attrlen(message, sizeof(fib_rule_hdr));
  for (nlattr* attribute = nlmsg_attrdata(message, sizeof(fib_rule_hdr));
       known && nla_ok(attribute, rest) != 0; attribute = nla_next(attribute, &rest)) {
    known = ReadAttribute(attribute, rule, is_udp);
  }
  return known && is_udp == (rule.last_port != 0) ? std::optional(rule) : std::nullopt;
}

RuleMessage DeletionOf(nlmsghdr* rule) {
  RuleMessage message = NewMessage(RTM_DELRULE, 0);
  const bool complete =
      message != nullptr && nlmsg_append(message.get(), nlmsg_data(rule),
                                         static_cast<size_t>(nlmsg_datalen(rule)), 0) == 0;
  return complete ? std::move(message) : nullptr;
}

}  // namespace host
