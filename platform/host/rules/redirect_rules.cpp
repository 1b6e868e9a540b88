#include "rules/redirect_rules.h"

#include <libnftnl/expr.h>
#include <libnftnl/rule.h>
#include <linux/in.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>

#include <memory>
#include <vector>

namespace host {

namespace {

/// A port in the header of its protocol, and the checksum that covers it.
struct PortField {
  uint32_t offset;
  uint32_t checksum;  ///< its offset; kNoChecksum: there is none to be kept right
};

constexpr uint32_t kNoChecksum = 0xffff;
constexpr uint32_t kUdpChecksum = 6;
constexpr PortField kSource = {0, kUdpChecksum};
constexpr PortField kDestination = {2, kUdpChecksum};
constexpr PortField kUnsummedDestination = {2, kNoChecksum};

/// One rule, written from left to right. Registers have 16 bytes: an interface's name fills the
/// first, the port behind it stands in the second.
class Rule {
 public:
  explicit Rule(const char* chain) : rule_(nftnl_rule_alloc(), &nftnl_rule_free) {
    Need(rule_ != nullptr);
    Need(nftnl_rule_set_str(rule_.get(), NFTNL_RULE_TABLE, kRedirectTable) == 0);
    Need(nftnl_rule_set_str(rule_.get(), NFTNL_RULE_CHAIN, chain) == 0);
  }

  Rule& Protocol(uint8_t protocol) { return Meta(NFT_META_L4PROTO, NFT_REG_1).Compare({protocol}); }

  /// The packet's property goes to a register.
  Rule& Meta(uint32_t key, uint32_t to) {
    nftnl_expr* meta = Next("meta");
    nftnl_expr_set_u32(meta, NFTNL_EXPR_META_KEY, key);
    nftnl_expr_set_u32(meta, NFTNL_EXPR_META_DREG, to);
    return *this;
  }

  /// Bytes of the header of the packet's protocol go to a register.
  Rule& Header(uint32_t offset, uint32_t size, uint32_t to = NFT_REG_1) {
    nftnl_expr_set_u32(Payload(offset, size), NFTNL_EXPR_PAYLOAD_DREG, to);
    return *this;
  }

  /// Goes on only when the first register is this.
  Rule& Compare(const std::vector<uint8_t>& bytes) {
    nftnl_expr* compare = Next("cmp");
    nftnl_expr_set_u32(compare, NFTNL_EXPR_CMP_SREG, NFT_REG_1);
    nftnl_expr_set_u32(compare, NFTNL_EXPR_CMP_OP, NFT_CMP_EQ);
    nftnl_expr_set(compare, NFTNL_EXPR_CMP_DATA, bytes.data(), static_cast<uint32_t>(bytes.size()));
    return *this;
  }

  /// What the map has for the first registers goes to a register; goes on only when it has it.
  Rule& Map(const char* map, uint32_t to = NFT_REG_1) {
    nftnl_expr* lookup = Next("lookup");
    Need(nftnl_expr_set_str(lookup, NFTNL_EXPR_LOOKUP_SET, map) == 0);
    nftnl_expr_set_u32(lookup, NFTNL_EXPR_LOOKUP_SREG, NFT_REG_1);
    nftnl_expr_set_u32(lookup, NFTNL_EXPR_LOOKUP_DREG, to);
    return *this;
  }

  /// The first register becomes the packet's port.
  Rule& Write(const PortField& port) {
    nftnl_expr* write = Payload(port.offset, sizeof(uint16_t));
    nftnl_expr_set_u32(write, NFTNL_EXPR_PAYLOAD_SREG, NFT_REG_1);
    if (port.checksum == kNoChecksum) return *this;
    nftnl_expr_set_u32(write, NFTNL_EXPR_PAYLOAD_CSUM_TYPE, NFT_PAYLOAD_CSUM_INET);
    nftnl_expr_set_u32(write, NFTNL_EXPR_PAYLOAD_CSUM_OFFSET, port.checksum);
    return *this;
  }

  Rule& Verdict(uint32_t verdict) {
    nftnl_expr* immediate = Next("immediate");
    nftnl_expr_set_u32(immediate, NFTNL_EXPR_IMM_DREG, NFT_REG_VERDICT);
    nftnl_expr_set_u32(immediate, NFTNL_EXPR_IMM_VERDICT, verdict);
    return *this;
  }

  void AddTo(NftBatch& batch) const {
    nftnl_rule_nlmsg_build_payload(batch.Add(NFT_MSG_NEWRULE, NLM_F_CREATE | NLM_F_APPEND),
                                   rule_.get());
  }

 private:
  nftnl_expr* Next(const char* name) {
    nftnl_expr* expression = nftnl_expr_alloc(name);
    Need(expression != nullptr);
    nftnl_rule_add_expr(rule_.get(), expression);
    return expression;
  }

  nftnl_expr* Payload(uint32_t offset, uint32_t size) {
    nftnl_expr* payload = Next("payload");
    nftnl_expr_set_u32(payload, NFTNL_EXPR_PAYLOAD_BASE, NFT_PAYLOAD_TRANSPORT_HEADER);
    nftnl_expr_set_u32(payload, NFTNL_EXPR_PAYLOAD_OFFSET, offset);
    nftnl_expr_set_u32(payload, NFTNL_EXPR_PAYLOAD_LEN, size);
    return payload;
  }

  std::unique_ptr<nftnl_rule, decltype(&nftnl_rule_free)> rule_;
};

/// Behind a VRF device the interface itself is the second one of the packet.
constexpr uint32_t kInterfaces[] = {NFT_META_SDIFNAME, NFT_META_IIFNAME};

/// A packet that came in on an interface that is listened on: `port` becomes the redirect port of
/// what it is now. Nothing behind it is asked then.
void Redirect(NftBatch& batch, Rule rule, uint32_t interface, const PortField& port) {
  rule.Meta(interface, NFT_REG_1).Header(port.offset, sizeof(uint16_t), NFT_REG_2);
  rule.Map(kToSet).Write(port).Verdict(NF_ACCEPT).AddTo(batch);
}

/// ICMPv6 "packet too big" (RFC 4443, section 3.2) about an answer: what it quotes has the port
/// that was asked, and only with the redirect port the kernel finds whose answers have to be
/// smaller. Answers by IPv4 forbid nobody to break them up, and need none of this.
void TellOfPathMtu(NftBatch& batch, uint32_t interface) {
  constexpr uint8_t kPacketTooBig = 2;
  constexpr uint32_t kQuoted = 8;
  constexpr uint32_t kChecksum = 2;
  constexpr uint32_t kNextHeader = kQuoted + 6;
  constexpr uint32_t kBehindHeader = kQuoted + 40;
  constexpr uint32_t kBehindFragmentHeader = kBehindHeader + 8;
  Rule whole(kInChain);
  whole.Protocol(IPPROTO_ICMPV6).Header(0, 1).Compare({kPacketTooBig});
  whole.Header(kNextHeader, 1).Compare({IPPROTO_UDP});
  Redirect(batch, std::move(whole), interface, {kBehindHeader, kChecksum});
  // The first fragment: its protocol, and offset 0 with more to come.
  Rule fragment(kInChain);
  fragment.Protocol(IPPROTO_ICMPV6).Header(0, 1).Compare({kPacketTooBig});
  fragment.Header(kNextHeader, 1).Compare({IPPROTO_FRAGMENT});
  fragment.Header(kBehindHeader, 1).Compare({IPPROTO_UDP});
  fragment.Header(kBehindHeader + 2, 2).Compare({0, 1});
  Redirect(batch, std::move(fragment), interface, {kBehindFragmentHeader, kChecksum});
}

}  // namespace

void AddRedirectRules(NftBatch& batch) {
  // A request without a checksum, as IPv4 permits, must not get one.
  for (const uint32_t interface : kInterfaces) {
    Rule unsummed(kInChain);
    unsummed.Protocol(IPPROTO_UDP).Header(kUdpChecksum, sizeof(uint16_t)).Compare({0, 0});
    Redirect(batch, std::move(unsummed), interface, kUnsummedDestination);
  }
  for (const uint32_t interface : kInterfaces) {
    Rule rule(kInChain);
    rule.Protocol(IPPROTO_UDP);
    Redirect(batch, std::move(rule), interface, kDestination);
  }
  Rule direct(kInChain);
  direct.Protocol(IPPROTO_UDP).Header(kDestination.offset, sizeof(uint16_t));
  direct.Map(kPortsSet, NFT_REG_VERDICT).AddTo(batch);
  for (const uint32_t interface : kInterfaces) TellOfPathMtu(batch, interface);
  Rule answer(kOutChain);
  answer.Protocol(IPPROTO_UDP).Header(kSource.offset, sizeof(uint16_t)).Map(kBackSet);
  answer.Write(kSource).AddTo(batch);
}

}  // namespace host
