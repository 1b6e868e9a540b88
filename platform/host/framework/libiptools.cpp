// The rule library's calls.
#include <zlog.h>

#include <limits>

#include "framework/interface_facts.h"
#include "libiptools/iptools.h"
#include "rules/rules.h"
#include "runtime/log.h"
#include "runtime/process.h"

namespace {

constexpr char kNoRules[] = "the platform has not begun, or has ended";

bool IsPort(unsigned int port) { return port > 0 && port <= std::numeric_limits<uint16_t>::max(); }

bool ChangeRedirect(bool add, const std::string& kernel_name, unsigned int vrf, unsigned int port,
                    unsigned int redirect_port) {
  const auto from = static_cast<uint16_t>(port);
  const auto to = static_cast<uint16_t>(redirect_port);
  host::Rules& rules = *host::ThisProcess().rules;
  return add ? rules.AddRedirect(kernel_name, from, to, vrf)
             : rules.DeleteRedirect(kernel_name, from, to);
}

bool ChangeDestination(bool add, const boost::asio::ip::address& address, unsigned int port,
                       unsigned int vrf) {
  const host::DestinationRule rule = {address, static_cast<uint16_t>(port), vrf};
  host::Rules& rules = *host::ThisProcess().rules;
  return add ? rules.AddDestination(rule) : rules.DeleteDestination(rule);
}

}  // namespace

namespace libiptools {

void GetVrfSourceInterfaceIP(zlog_category_s* /*log_category*/, int cdb_socket,
                             const std::string& name, std::string& ipv4, std::string& ipv6,
                             uint32_t& vrf) {
  const host::InterfaceFacts facts = host::ReadInterfaceFacts(cdb_socket, name);
  ipv4 = facts.ipv4;
  ipv6 = facts.ipv6;
  vrf = facts.vrf;
}

std::string TranslateSource(int cdb_socket, const std::string& name) {
  return host::ReadKernelName(cdb_socket, name);
}

Iptools::Iptools(int cdb_socket, zlog_category_s* log_category)
    : cdb_socket_(cdb_socket), log_category_(log_category) {}

int Iptools::addDelRuleSnmpListenIntf(bool add, const std::string& kernel_name, unsigned int vrf,
                                      unsigned int port, unsigned int redirect_port, ip_proto proto,
                                      target_action action) {
  const char* reason = "see the platform's log";
  if (host::ThisProcess().rules == nullptr) {
    reason = kNoRules;
  } else if (proto != IP_PROTO_UDP || action != TARGET_REDIRECT) {
    reason = "only UDP ports can be redirected";
  } else if (!IsPort(port) || !IsPort(redirect_port) || vrf == 0) {
    reason = "two ports and a VRF are needed";
  } else if (ChangeRedirect(add, kernel_name, vrf, port, redirect_port)) {
    return 0;
  }
  zlog(log_category_, __FILE__, sizeof(__FILE__) - 1, __func__, sizeof(__func__) - 1, __LINE__,
       host::kNotice, "Rule %s port %u to %u on %s, VRF %u: %s", add ? "not added" : "not deleted",
       port, redirect_port, kernel_name.c_str(), vrf, reason);
  return 1;
}

int Iptools::addDelIPRuleIntf(bool add, unsigned int vrf_id, const nettypes::IPAddr& dst,
                              unsigned int dport, ip_proto proto) {
  const char* reason = "see the platform's log";
  boost::system::error_code no_address;
  const auto address = boost::asio::ip::make_address(dst.to_string(), no_address);
  if (host::ThisProcess().rules == nullptr) {
    reason = kNoRules;
  } else if (proto != IP_PROTO_UDP) {
    reason = "only UDP packets can be routed by a rule";
  } else if (no_address || !IsPort(dport) || vrf_id == 0) {
    reason = "an address, a port and a VRF are needed";
  } else if (ChangeDestination(add, address, dport, vrf_id)) {
    return 0;
  }
  zlog(log_category_, __FILE__, sizeof(__FILE__) - 1, __func__, sizeof(__func__) - 1, __LINE__,
       host::kNotice, "Routing rule %s for %s port %u, VRF %u: %s",
       add ? "not added" : "not deleted", dst.to_string().c_str(), dport, vrf_id, reason);
  return 1;
}

}  // namespace libiptools
