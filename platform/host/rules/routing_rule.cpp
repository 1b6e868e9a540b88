#include "rules/routing_rule.h"

#include <linux/fib_rules.h>
#include <linux/rtnetlink.h>
#include <netinet/in.h>
#include <netlink/attr.h>
#include <sys/socket.h>

#include <utility>

namespace host {

namespace {

RuleMessage NewMessage(int type, int flags) { return RuleMessage(nlmsg_alloc_simple(type, flags)); }

RuleMessage ChangeMessage(RuleChange change) {
  return change == RuleChange::kAdd ? NewMessage(RTM_NEWRULE, NLM_F_CREATE | NLM_F_EXCL)
                                    : NewMessage(RTM_DELRULE, 0);
}

bool AppendHeader(nl_msg* message, int family, uint8_t destination_bits) {
  fib_rule_hdr header = {};
  header.family = static_cast<uint8_t>(family);
  header.dst_len = destination_bits;
  header.action = FR_ACT_TO_TBL;
  return nlmsg_append(message, &header, sizeof(header), NLMSG_ALIGNTO) == 0;
}

/// What every rule of this program has.
bool AppendCommon(nl_msg* message, uint32_t table, uint32_t priority) {
  return nla_put_u32(message, FRA_TABLE, table) == 0 &&
         nla_put_u32(message, FRA_PRIORITY, priority) == 0 &&
         nla_put_u8(message, FRA_PROTOCOL, kRulesProtocol) == 0;
}

bool AppendAddress(nl_msg* message, const boost::asio::ip::address& address) {
  if (address.is_v4()) {
    const auto bytes = address.to_v4().to_bytes();
    return nla_put(message, FRA_DST, static_cast<int>(bytes.size()), bytes.data()) == 0;
  }
  const auto bytes = address.to_v6().to_bytes();
  return nla_put(message, FRA_DST, static_cast<int>(bytes.size()), bytes.data()) == 0;
}

bool AppendUdpPort(nl_msg* message, uint16_t port) {
  const fib_rule_port_range range = {port, port};
  return nla_put_u8(message, FRA_IP_PROTO, IPPROTO_UDP) == 0 &&
         nla_put(message, FRA_DPORT_RANGE, sizeof(range), &range) == 0;
}

bool HasOwnProtocol(nlmsghdr* rule) {
  const nlattr* protocol = nlmsg_find_attr(rule, sizeof(fib_rule_hdr), FRA_PROTOCOL);
  return protocol != nullptr && nla_get_u8(protocol) == kRulesProtocol;
}

}  // namespace

RuleMessage MarkMessage(RuleChange change, int family, uint32_t table) {
  RuleMessage message = ChangeMessage(change);
  const bool complete = message != nullptr && AppendHeader(message.get(), family, 0) &&
                        AppendCommon(message.get(), table, kMarkPriority) &&
                        nla_put_u32(message.get(), FRA_FWMARK, table) == 0;
  return complete ? std::move(message) : nullptr;
}

RuleMessage DestinationMessage(RuleChange change, const DestinationRule& rule) {
  RuleMessage message = ChangeMessage(change);
  const int family = rule.address.is_v4() ? AF_INET : AF_INET6;
  const uint8_t bits = rule.address.is_v4() ? 32 : 128;
  const bool complete = message != nullptr && AppendHeader(message.get(), family, bits) &&
                        AppendCommon(message.get(), rule.table, kDestinationPriority) &&
                        AppendAddress(message.get(), rule.address) &&
                        AppendUdpPort(message.get(), rule.port);
  return complete ? std::move(message) : nullptr;
}

RuleMessage DumpMessage(int family) {
  RuleMessage message = NewMessage(RTM_GETRULE, NLM_F_DUMP);
  const bool complete = message != nullptr && AppendHeader(message.get(), family, 0);
  return complete ? std::move(message) : nullptr;
}

bool IsOwnRule(nlmsghdr* rule) { return rule->nlmsg_type == RTM_NEWRULE && HasOwnProtocol(rule); }

bool IsOwnDeletion(nlmsghdr* rule) {
  return rule->nlmsg_type == RTM_DELRULE && HasOwnProtocol(rule);
}

RuleMessage DeletionOf(nlmsghdr* rule) {
  RuleMessage message = NewMessage(RTM_DELRULE, 0);
  const bool complete =
      message != nullptr && nlmsg_append(message.get(), nlmsg_data(rule),
                                         static_cast<size_t>(nlmsg_datalen(rule)), 0) == 0;
  return complete ? std::move(message) : nullptr;
}

}  // namespace host
