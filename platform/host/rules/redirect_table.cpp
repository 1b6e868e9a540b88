#include "rules/redirect_table.h"

#include <arpa/inet.h>
#include <libnftnl/chain.h>
#include <libnftnl/set.h>
#include <libnftnl/table.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <net/if.h>

#include <array>
#include <cstring>
#include <memory>
#include <optional>

#include "rules/redirect_rules.h"

namespace host {

namespace {

/// Numbers of the types of nft(8): their texts in `nft list table` need them.
constexpr uint32_t kTypePort = 13;
constexpr uint32_t kTypeInterfaceAndPort = 41 << 6 | kTypePort;
constexpr uint32_t kVerdictSize = 16;

constexpr uint32_t kPortSize = sizeof(uint16_t);

/// An interface name and a port; every part takes whole units of four bytes.
using InterfaceKey = std::array<char, IFNAMSIZ + 4>;

/// An element of the set `to` takes 44 bytes.
constexpr size_t kElementsPerMessage = 100;

using Set = std::unique_ptr<nftnl_set, decltype(&nftnl_set_free)>;

const char* NameOf(RedirectSet set) {
  switch (set) {
    case RedirectSet::kTo:
      return kToSet;
    case RedirectSet::kBack:
      return kBackSet;
    default:
      return kPortsSet;
  }
}

Set NewSet(RedirectSet set) {
  Set object(nftnl_set_alloc(), &nftnl_set_free);
  Need(object != nullptr);
  Need(nftnl_set_set_str(object.get(), NFTNL_SET_TABLE, kRedirectTable) == 0);
  Need(nftnl_set_set_str(object.get(), NFTNL_SET_NAME, NameOf(set)) == 0);
  return object;
}

void AddTable(NftBatch& batch) {
  const std::unique_ptr<nftnl_table, decltype(&nftnl_table_free)> table(nftnl_table_alloc(),
                                                                        &nftnl_table_free);
  Need(table != nullptr);
  Need(nftnl_table_set_str(table.get(), NFTNL_TABLE_NAME, kRedirectTable) == 0);
  nftnl_table_set_u32(table.get(), NFTNL_TABLE_FLAGS, NFT_TABLE_F_OWNER);
  nftnl_table_nlmsg_build_payload(batch.Add(NFT_MSG_NEWTABLE, NLM_F_CREATE | NLM_F_EXCL),
                                  table.get());
}

void AddSet(NftBatch& batch, RedirectSet set) {
  const bool by_interface = set == RedirectSet::kTo;
  const Set object = NewSet(set);
  const uint32_t key_size = by_interface ? sizeof(InterfaceKey) : kPortSize;
  nftnl_set_set_u32(object.get(), NFTNL_SET_ID, static_cast<uint32_t>(set) + 1);
  nftnl_set_set_u32(object.get(), NFTNL_SET_KEY_TYPE,
                    by_interface ? kTypeInterfaceAndPort : kTypePort);
  nftnl_set_set_u32(object.get(), NFTNL_SET_KEY_LEN, key_size);
  // The redirect ports are a map, too: for a plain set of ports the kernel takes one that it
  // searches from end to end at every change.
  nftnl_set_set_u32(object.get(), NFTNL_SET_FLAGS, NFT_SET_MAP);
  const bool has_verdict = set == RedirectSet::kPorts;
  nftnl_set_set_u32(object.get(), NFTNL_SET_DATA_TYPE, has_verdict ? NFT_DATA_VERDICT : kTypePort);
  nftnl_set_set_u32(object.get(), NFTNL_SET_DATA_LEN, has_verdict ? kVerdictSize : kPortSize);
  nftnl_set_nlmsg_build_payload(batch.Add(NFT_MSG_NEWSET, NLM_F_CREATE), object.get());
}

/// Where a chain hangs in the way of packets.
struct Hook {
  uint32_t number;
  int priority;
};

void AddChain(NftBatch& batch, const char* name, const std::optional<Hook>& hook = std::nullopt) {
  const std::unique_ptr<nftnl_chain, decltype(&nftnl_chain_free)> chain(nftnl_chain_alloc(),
                                                                        &nftnl_chain_free);
  Need(chain != nullptr);
  Need(nftnl_chain_set_str(chain.get(), NFTNL_CHAIN_TABLE, kRedirectTable) == 0);
  Need(nftnl_chain_set_str(chain.get(), NFTNL_CHAIN_NAME, name) == 0);
  if (hook) {
    Need(nftnl_chain_set_str(chain.get(), NFTNL_CHAIN_TYPE, "filter") == 0);
    nftnl_chain_set_u32(chain.get(), NFTNL_CHAIN_HOOKNUM, hook->number);
    nftnl_chain_set_s32(chain.get(), NFTNL_CHAIN_PRIO, hook->priority);
  }
  nftnl_chain_nlmsg_build_payload(batch.Add(NFT_MSG_NEWCHAIN, NLM_F_CREATE), chain.get());
}

void PutElement(nftnl_set* set, const ElementChange& change) {
  nftnl_set_elem* element = nftnl_set_elem_alloc();
  Need(element != nullptr);
  nftnl_set_elem_add(set, element);
  const bool by_interface = change.set == RedirectSet::kTo;
  const uint16_t port = htons(change.port);
  const uint16_t redirect_port = htons(change.redirect_port);
  if (by_interface) {
    InterfaceKey key = {};
    memcpy(key.data(), change.interface.data(), change.interface.size());
    memcpy(key.data() + IFNAMSIZ, &port, sizeof port);
    Need(nftnl_set_elem_set(element, NFTNL_SET_ELEM_KEY, key.data(), key.size()) == 0);
  } else {
    Need(nftnl_set_elem_set(element, NFTNL_SET_ELEM_KEY, &redirect_port, kPortSize) == 0);
  }
  if (!change.adds) return;
  if (change.set == RedirectSet::kPorts) {
    nftnl_set_elem_set_u32(element, NFTNL_SET_ELEM_VERDICT, NF_DROP);
    return;
  }
  Need(nftnl_set_elem_set(element, NFTNL_SET_ELEM_DATA, by_interface ? &redirect_port : &port,
                          kPortSize) == 0);
}

}  // namespace

void MakeRedirectTable(NftBatch& batch) {
  AddTable(batch);
  for (const auto set : {RedirectSet::kTo, RedirectSet::kBack, RedirectSet::kPorts}) {
    AddSet(batch, set);
  }
  // Behind filters of operators, which see the port that was asked; the answers' ports are put
  // back before connections are tracked, so that they belong to the requests.
  constexpr int kBehindFilters = 250;
  constexpr int kBeforeTracking = -310;
  AddChain(batch, kInChain, Hook{NF_INET_LOCAL_IN, kBehindFilters});
  AddChain(batch, kOutChain, Hook{NF_INET_LOCAL_OUT, kBeforeTracking});
  for (const char* chain : {kUnsummedChain, kErrorsChain}) AddChain(batch, chain);
  AddRedirectRules(batch);
}

void ChangeElements(NftBatch& batch, const std::vector<ElementChange>& changes) {
  for (auto next = changes.begin(); next != changes.end();) {
    const ElementChange& first = *next;
    const Set set = NewSet(first.set);
    for (size_t count = 0; count < kElementsPerMessage && next != changes.end() &&
                           next->set == first.set && next->adds == first.adds;
         ++count, ++next) {
      PutElement(set.get(), *next);
    }
    nlmsghdr* message = first.adds ? batch.Add(NFT_MSG_NEWSETELEM, NLM_F_CREATE | NLM_F_EXCL)
                                   : batch.Add(NFT_MSG_DELSETELEM, 0);
    nftnl_set_elems_nlmsg_build_payload(message, set.get());
  }
}

}  // namespace host
