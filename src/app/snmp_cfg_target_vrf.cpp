#include "app/snmp_cfg_target_vrf.h"

#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <boost/asio/ip/address_v4.hpp>
#include <cstring>
#include <deque>
#include <vector>

#include "app/confd_names.h"
#include "app/confd_text.h"
#include "app/trace.h"
#include "confd_cdb.h"
#include "libiptools/iptools.h"
#include "nettypes/nettypes.h"
#include "vkconfd/cdb_session.h"

// In the texts of failed assertions types stand as they are written here.
using string = std::string;

namespace {

constexpr size_t kNameSize = 128;

/// The leaves of a target that its rule is made from, with the name, in the order of the model.
constexpr int kTargetLeaves = 4;

bool IsRuleLeaf(uint32_t tag) {
  return tag == app::tag::kVrf || tag == app::tag::kIp || tag == app::tag::kUdpPort;
}

/// Throws boost::system::system_error for a text that is none.
nettypes::IPv4Addr MakeIpv4(const std::string& text) {
  const auto bytes = boost::asio::ip::make_address_v4(text).to_bytes();
  in_addr address = {};
  memcpy(&address, bytes.data(), sizeof address);
  return nettypes::IPv4Addr(address);
}

}  // namespace

TargetVrfCfgHandler::TargetVrfCfgHandler() {
  subscription_points_ = {app::MakePoint(this, &TargetVrfCfgHandler::HandleCfgVrf, 1,
                                         app::ns::kSnmp, app::path::kTarget, 0)};
  log_category_ = app::RegisterCategory("");
  APP_LOG(log_category_, app::kDetail, "Target subscription registered");
}

void TargetVrfCfgHandler::LoadInitialConfig(int cdb_socket) {
  APP_LOG(log_category_, app::kProgress, "Loading SNMP target configuration");
  GetTargets(cdb_socket);
}

void TargetVrfCfgHandler::StartCommit() {
  APP_LOG(log_category_, app::kDetail, "Starting commit of SNMP configuration.");
}

void TargetVrfCfgHandler::ApplyCommitConfig() {
  APP_LOG(log_category_, app::kDetail, "Apply commit of SNMP configuration.");
  added_rules_.clear();
}

confd_iter_ret TargetVrfCfgHandler::HandleCfgVrf(confd_hkeypath_t* kp, confd_iter_op op,
                                                 confd_value_t* /*old_value*/,
                                                 confd_value_t* /*new_value*/) {
  const app::KeyPathText kp_text(kp);
  const VkConfdCdbSession after(confd_interface_, CDB_RUNNING, true);
  const VkConfdCdbSession before(confd_interface_, CDB_PRE_COMMIT_RUNNING, true);
  APP_LOG(log_category_, app::kDetail, "Called kp %s, op %d, socket: %d", kp_text.c_str(), op,
          after.Socket());
  const confd_vtype type = kp->v[0][0].type;
  if (op == MOP_DELETED) {
    APP_LOG(log_category_, app::kDetail, "leaf->type: %d", type);
    if (type != C_XMLTAG) {
      const std::string name = APP_BUF_TEXT(&kp->v[0][0]);
      APP_LOG(log_category_, app::kDetail, "Removing rules for target %s", name.c_str());
      AddDelIpRuleIntf(false, name, before.Socket());
      return ITER_CONTINUE;
    }
  }
  if (type != C_XMLTAG) return ITER_RECURSE;
  const uint32_t tag = CONFD_GET_XMLTAG(&kp->v[0][0]);
  if (!IsRuleLeaf(tag)) {
    APP_LOG(log_category_, app::kDetail, "Ignoring: %d", static_cast<int32_t>(tag));
    return ITER_RECURSE;
  }
  const std::string name = APP_BUF_TEXT(&kp->v[1][0]);
  AddDelIpRuleIntf(false, name, before.Socket());
  AddDelIpRuleIntf(true, name, after.Socket());
  return ITER_CONTINUE;
}

uint32_t TargetVrfCfgHandler::GetTargetVrf(int cdb_socket, const string& vrf) {
  APP_LOG(log_category_, app::kDetail, "key: %s", vrf.c_str());
  confd_value_t vrf_id_confd;
  if (cdb_get(cdb_socket, &vrf_id_confd, "%s/stringTOindex{%s}/vrf-idx", app::path::kVrfConfig,
              vrf.c_str()) != CONFD_OK) {
    APP_FAULT("Error getting target vrf - %s", confd_lasterr());
    return 0;
  }
  return CONFD_GET_UINT32(&vrf_id_confd);
}

void TargetVrfCfgHandler::AddDelIpRuleIntf(bool add, const string& target, int cdb_socket) {
  APP_LOG(log_category_, app::kDetail, "add: %d target: %s", add ? 1 : 0, target.c_str());
  std::array<confd_value_t, kTargetLeaves> v = {};
  if (cdb_get_object(cdb_socket, v.data(), kTargetLeaves, "%s{%s}", app::path::kTarget,
                     target.c_str()) < kTargetLeaves) {
    APP_LOG(log_category_, app::kDetail, "%s", confd_lasterr());
    return;
  }
  const app::ValueGuard name_guard(&v[0]);
  const app::ValueGuard vrf_guard(&v[1]);
  const app::ValueGuard address_guard(&v[2]);
  const std::string name = APP_BUF_TEXT(&v[0]);
  APP_LOG(log_category_, app::kDetail, "Target: %s v[1].type: %d", name.c_str(), v[1].type);
  uint32_t vrf_id = 0;
  if (v[1].type == C_BUF) {
    const std::string vrf = APP_BUF_TEXT(&v[1]);
    APP_LOG(log_category_, app::kDetail, "VRF: %s", vrf.c_str());
    vrf_id = GetTargetVrf(cdb_socket, vrf);
  }
  char address[INET6_ADDRSTRLEN] = {};
  if (confd_pp_value(address, sizeof address, &v[2]) <= 0) APP_FATAL("%s", confd_lasterr());
  APP_LOG(log_category_, app::kProgress, "address: %s", address);
  ChangeRule(add, {address, vrf_id, CONFD_GET_UINT16(&v[3])}, cdb_socket);
}

/// Only IPv4 targets in a VRF have a rule.
void TargetVrfCfgHandler::ChangeRule(bool add, const IpRuleKey& rule, int cdb_socket) {
  APP_LOG_FROM("AddDelIpRuleIntf", log_category_, app::kDetail, "vrf_id: %d dport: %d dst_ip: %s",
               static_cast<int32_t>(rule.vrf_id), rule.port, rule.address.c_str());
  if (rule.address.find('.') == std::string::npos) return;
  const nettypes::IPv4Addr address = MakeIpv4(rule.address);
  if (rule.vrf_id == 0) return;
  if (add) {
    added_rules_.push_back(rule);
  } else if (WasAdded(rule)) {
    // This commit wants the rule, for another target or for another leaf of the same one.
    return;
  }
  libiptools::Iptools iptools(cdb_socket, log_category_);
  iptools.addDelIPRuleIntf(add, rule.vrf_id, address, rule.port, IP_PROTO_UDP);
}

bool TargetVrfCfgHandler::WasAdded(const IpRuleKey& rule) const {
  return std::any_of(added_rules_.begin(), added_rules_.end(), [&rule](const IpRuleKey& added) {
    return added.address == rule.address && added.vrf_id == rule.vrf_id && added.port == rule.port;
  });
}

void TargetVrfCfgHandler::GetTargets(int cdb_socket) {
  const int count = cdb_num_instances(cdb_socket, app::path::kTargetAddrEntry);
  if (count <= 0) return;
  APP_LOG(log_category_, app::kDetail, "Getting %d SNMP targets", count);
  std::vector<confd_value_t> names(static_cast<size_t>(count));
  // Fewer targets than rows leave values that cannot be printed.
  cdb_get_objects(cdb_socket, names.data(), 1, 0, count, "%s", app::path::kTarget);
  std::deque<app::ValueGuard> guards;
  for (confd_value_t& value : names) guards.emplace_back(&value);
  for (const confd_value_t& value : names) {
    char name[kNameSize] = {};
    if (confd_pp_value(name, sizeof name, &value) <= 0) continue;
    APP_LOG(log_category_, app::kDetail, "target: %s", name);
    AddDelIpRuleIntf(true, name, cdb_socket);
  }
}
