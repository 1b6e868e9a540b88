// Packet-filter rules and facts about interfaces, as the device's rule library has them.
#pragma once

#include <cstdint>
#include <string>

#include "nettypes/nettypes.h"
#include "vkmw/vkmw.h"

/// Transport protocol of a rule.
enum ip_proto { IP_PROTO_TCP = 1, IP_PROTO_UDP = 2 };

/// What a rule does with a packet.
enum target_action { TARGET_ACCEPT = 1, TARGET_REDIRECT = 2 };

namespace libiptools {

/// Looks up the listening interface `name` ("l3-" and the name of an L3 interface) in the database
/// that `cdb_socket` reads. Sets `*vrf` to the index of its VRF, 0 for none and for an interface
/// that is not there, and the texts to its IPv4 and first IPv6 address, empty where it has none.
void GetVrfSourceInterfaceIP(zlog_category_s* log_category, int cdb_socket, const std::string& name,
                             std::string& ipv4, std::string& ipv6, uint32_t& vrf);

/// The kernel's name of the listening interface `name`; `name` itself, without "l3-", when the
/// configuration gives none.
std::string TranslateSource(int cdb_socket, const std::string& name);

class Iptools {
 public:
  /// Works for as long as the session behind `cdb_socket` is open.
  Iptools(int cdb_socket, zlog_category_s* log_category);

  /// Adds or deletes the rule that hands packets to UDP port `port` that arrive on `kernel_name`
  /// to the local port `redirect_port`, IPv4 and IPv6 alike. Returns 0 when the rule is there
  /// (gone) afterwards, also when it was before; else non-zero, and the reason is logged.
  int addDelRuleSnmpListenIntf(bool add, const std::string& kernel_name, unsigned int vrf,
                               unsigned int port, unsigned int redirect_port, ip_proto proto,
                               target_action action);

  /// Adds or deletes the rule that has packets of protocol `proto` to port `dport` of `dst` routed
  /// by the table of the VRF with index `vrf_id`. Adding one that is there and deleting one that is
  /// not change nothing. Returns 0 when the kernel has the rule (has it not) afterwards, else
  /// non-zero, and the reason is logged.
  int addDelIPRuleIntf(bool add, unsigned int vrf_id, const nettypes::IPAddr& dst,
                       unsigned int dport, ip_proto proto);

 private:
  [[maybe_unused]] int cdb_socket_;
  [[maybe_unused]] zlog_category_s* log_category_;
};

}  // namespace libiptools
