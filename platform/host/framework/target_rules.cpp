#include "framework/target_rules.h"

#include <boost/asio/ip/address.hpp>
#include <optional>
#include <stdexcept>
#include <string>

#include "confd/value_text.h"
#include "confd_cdb.h"
#include "config/device_paths.h"
#include "delivery/change.h"

namespace host {

namespace {

std::string Text(int cdb_socket, const std::string& path) {
  confd_value_t value;
  if (cdb_get(cdb_socket, &value, "%s", path.c_str()) == CONFD_OK) {
    return common::ValueText(common::OwnedValue(value).Value());
  }
  if (confd_errno != CONFD_ERR_NOEXISTS) throw std::runtime_error(confd_lasterr());
  return "";
}

/// The rule of the target at a position; none for one in no VRF.
std::optional<DestinationRule> ReadRule(int cdb_socket, int position) {
  const std::string target = std::string(kTargetsPath) + "[" + std::to_string(position) + "]/";
  const std::string vrf = Text(cdb_socket, target + "vrf");
  if (vrf.empty()) return std::nullopt;
  DestinationRule rule;
  rule.address = boost::asio::ip::make_address(Text(cdb_socket, target + "ip"));
  if (cdb_get_u_int16(cdb_socket, &rule.port, "%sudp-port", target.c_str()) != CONFD_OK ||
      cdb_get_u_int32(cdb_socket, &rule.table, "%s{%s}/vrf-idx", kVrfsPath, vrf.c_str()) !=
          CONFD_OK) {
    throw std::runtime_error(confd_lasterr());
  }
  return rule;
}

}  // namespace

std::set<DestinationRule> ReadTargetRules(int cdb_socket) {
  std::set<DestinationRule> rules;
  const int count = cdb_num_instances(cdb_socket, "%s", kTargetsPath);
  if (count == CONFD_ERR) throw std::runtime_error(confd_lasterr());
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
