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

constexpr uint32_t kNumberSize = 4;
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

  /// Goes on only when the packet is of this protocol, or for NFT_CMP_NEQ is not.
  Rule& Protocol(uint8_t protocol, uint32_t operation = NFT_CMP_EQ) {
    return Meta(NFT_META_L4PROTO, NFT_REG_1).Compare({protocol}, operation);
  }

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

  /// Goes on only when the first register is this, or for NFT_CMP_NEQ is not.
  Rule& Compare(const std::vector<uint8_t>& bytes, uint32_t operation = NFT_CMP_EQ) {
    nftnl_expr* compare = Next("cmp");
    nftnl_expr_set_u32(compare, NFTNL_EXPR_CMP_SREG, NFT_REG_1);
    nftnl_expr_set_u32(compare, NFTNL_EXPR_CMP_OP, operation);
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

  /// Goes on only when this property of the packet, a number of four bytes, is not 0.
  Rule& Nonzero(uint32_t key) {
    return Meta(key, NFT_REG_1).Compare(std::vector<uint8_t>(kNumberSize), NFT_CMP_NEQ);
  }

  /// Takes the packet's mark away.
  Rule& Unmark() {
    const uint32_t none = 0;
    nftnl_expr* immediate = Next("immediate");
    nftnl_expr_set_u32(immediate, NFTNL_EXPR_IMM_DREG, NFT_REG_1);
    nftnl_expr_set(immediate, NFTNL_EXPR_IMM_DATA, &none, kNumberSize);
    nftnl_expr* meta = Next("meta");
    nftnl_expr_set_u32(meta, NFTNL_EXPR_META_KEY, NFT_META_MARK);
    nftnl_expr_set_u32(meta, NFTNL_EXPR_META_SREG, NFT_REG_1);
    return *this;
  }

  Rule& Verdict(uint32_t verdict) {
    Decide(verdict);
    return *this;
  }

  /// Goes on with the rules of another chain, and does not come back.
  Rule& Goto(const char* chain) {
    nftnl_expr* immediate = Decide(static_cast<uint32_t>(NFT_GOTO));
    Need(nftnl_expr_set_str(immediate, NFTNL_EXPR_IMM_CHAIN, chain) == 0);
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

  nftnl_expr* Decide(uint32_t verdict) {
    nftnl_expr* immediate = Next("immediate");
    nftnl_expr_set_u32(immediate, NFTNL_EXPR_IMM_DREG, NFT_REG_VERDICT);
    nftnl_expr_set_u32(immediate, NFTNL_EXPR_IMM_VERDICT, verdict);
    return immediate;
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
  // Without a VRF device there is no second one, and its number costs less to see than its name.
  if (interface == NFT_META_SDIFNAME) rule.Nonzero(NFT_META_SDIF);
  rule.Meta(interface, NFT_REG_1).Header(port.offset, sizeof(uint16_t), NFT_REG_2);
  rule.Map(kToSet).Write(port).Verdict(NF_ACCEPT).AddTo(batch);
}

/// UDP packets that were asked for a port on an interface, and who asks a redirect port by its own
/// number.
void RedirectRequests(NftBatch& batch, const char* chain, const PortField& port) {
  for (const uint32_t interface : kInterfaces) Redirect(batch, Rule(chain), interface, port);
  Rule direct(chain);
  direct.Header(port.offset, sizeof(uint16_t)).Map(kPortsSet, NFT_REG_VERDICT).AddTo(batch);
}

/// Bytes that an error message has at a place.
struct Quote {
  uint32_t offset;
  std::vector<uint8_t> bytes;
};

/// The errors by which a router on the way says that an answer is too big. They quote it with the
/// port that was asked, and only by the redirect port the kernel finds whose answers have to be
/// smaller.
struct TooBig {
  uint8_t protocol;
  std::vector<Quote> quotes;
  uint32_t port;  ///< offset of the quoted source port
};

std::vector<TooBig> AllTooBig() {
  constexpr uint32_t kQuoted = 8;
  constexpr uint32_t kBehind4 = kQuoted + 20;
  constexpr uint32_t kBehind6 = kQuoted + 40;
  // "Fragmentation needed" (RFC 792) about a packet with a header of 20 bytes that must not be
  // broken up: nobody is told of others.
  TooBig version4 = {IPPROTO_ICMP, {{0, {3, 4}}, {kQuoted, {0x45}}}, kBehind4};
  version4.quotes.push_back({kQuoted + 6, {0x40, 0}});
  version4.quotes.push_back({kQuoted + 9, {IPPROTO_UDP}});
  // "Packet too big" (RFC 4443, section 3.2) about a whole packet, and about a first fragment.
  TooBig version6 = {IPPROTO_ICMPV6, {{0, {2}}, {kQuoted + 6, {IPPROTO_UDP}}}, kBehind6};
  TooBig fragment6 = {IPPROTO_ICMPV6, {{0, {2}}, {kQuoted + 6, {IPPROTO_FRAGMENT}}}, kBehind6 + 8};
  fragment6.quotes.push_back({kBehind6, {IPPROTO_UDP}});
  fragment6.quotes.push_back({kBehind6 + 2, {0, 1}});
  return {version4, version6, fragment6};
}

void TellOfPathMtu(NftBatch& batch, const TooBig& error, uint32_t interface) {
  constexpr uint32_t kChecksum = 2;
  Rule rule(kErrorsChain);
  rule.Protocol(error.protocol);
  for (const Quote& quote : error.quotes) {
    rule.Header(quote.offset, static_cast<uint32_t>(quote.bytes.size())).Compare(quote.bytes);
  }
  Redirect(batch, std::move(rule), interface, {error.port, kChecksum});
}

}  // namespace

void AddRedirectRules(NftBatch& batch) {
  Rule(kInChain).Protocol(IPPROTO_UDP, NFT_CMP_NEQ).Goto(kErrorsChain).AddTo(batch);
  // A request without a checksum, as IPv4 permits, must not get one.
  Rule unsummed(kInChain);
  unsummed.Header(kUdpChecksum, sizeof(uint16_t)).Compare({0, 0});
  unsummed.Goto(kUnsummedChain).AddTo(batch);
  RedirectRequests(batch, kInChain, kDestination);
  RedirectRequests(batch, kUnsummedChain, kUnsummedDestination);
  for (const TooBig& error : AllTooBig()) {
    for (const uint32_t interface : kInterfaces) TellOfPathMtu(batch, error, interface);
  }
  // The agent's mark has led to the VRF by now. An answer by a VRF device passes the output hook
  // twice, and the port that was put back may be another one's redirect port.
  Rule answer(kOutChain);
  answer.Nonzero(NFT_META_MARK).Protocol(IPPROTO_UDP);
  answer.Header(kSource.offset, sizeof(uint16_t)).Map(kBackSet);
  answer.Write(kSource).Unmark().AddTo(batch);
}

}  // namespace host
