#include "framework/target_rules.h"

#include <boost/asio/ip/address.hpp>
#include <optional>
#include <string>

#include "confd_cdb.h"
#include "config/device_paths.h"
#include "framework/cdb_reads.h"

namespace host {

namespace {

/// The rule of the target at a position; none for one in no VRF.
std::optional<DestinationRule> ReadRule(int cdb_socket, int position) {
  const std::string target = EntryAt(kTargetsPath, position);
  const std::string vrf = ReadLeaf(cdb_socket, target + "vrf");
  if (vrf.empty()) return std::nullopt;
  DestinationRule rule;
  rule.address = boost::asio::ip::make_address(ReadLeaf(cdb_socket, target + "ip"));
  Checked(cdb_get_u_int16(cdb_socket, &rule.port, "%sudp-port", target.c_str()));
  Checked(cdb_get_u_int32(cdb_socket, &rule.table, "%s{%s}/vrf-idx", kVrfsPath, vrf.c_str()));
  return rule;
}

}  // namespace

std::set<DestinationRule> ReadTargetRules(int cdb_socket) {
  std::set<DestinationRule> rules;
  const int count = CountEntries(cdb_socket, kTargetsPath);
  for (int position = 0; position < count; ++position) {
    const std::optional<DestinationRule> rule = ReadRule(cdb_socket, position);
    if (rule.has_value()) rules.insert(*rule);
  }
  return rules;
}

bool TargetRules::Contain(const DestinationRule& rule, const SharedTree& running, int cdb_socket) {
  if (read_from_.lock() != running) {
    rules_ = ReadTargetRules(cdb_socket);
    read_from_ = running;
  }
  return rules_.count(rule) > 0;
}

}  // namespace host
