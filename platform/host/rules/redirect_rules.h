// The rules of the table "inet snmp-app".
#pragma once

#include <new>

#include "rules/nftables.h"

namespace host {

// Names as nft(8) shows them; the table is of family inet.

constexpr char kRedirectTable[] = "snmp-app";
constexpr char kToSet[] = "to";
constexpr char kBackSet[] = "back";
constexpr char kPortsSet[] = "ports";
constexpr char kInChain[] = "in";
constexpr char kUnsummedChain[] = "unsummed";  ///< of `in`: UDP without a checksum
constexpr char kErrorsChain[] = "errors";      ///< of `in`: what is not UDP
constexpr char kOutChain[] = "out";

/// The library fails to build an object only when there is no memory.
inline void Need(bool succeeded) {
  if (!succeeded) throw std::bad_alloc();
}

/// Adds the rules of all chains. Throws std::bad_alloc.
void AddRedirectRules(NftBatch& batch);

}  // namespace host
