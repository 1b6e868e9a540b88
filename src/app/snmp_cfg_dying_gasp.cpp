#include "app/snmp_cfg_dying_gasp.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "app/confd_names.h"
#include "app/confd_text.h"
#include "app/trace.h"
#include "confd_cdb.h"
#include "vkconfd/cdb_session.h"

namespace {

/// Room for a name or a community with the terminating zero, in bytes; a longer one is cut.
constexpr size_t kTextSize = 128;

/// SNMPv2c among the message processing models (RFC 3411, SnmpMessageProcessingModel).
constexpr int32_t kSnmpV2c = 1;

/// A transport address over UDP and IPv4 (RFC 3417, SnmpUDPAddress): address and port, both in
/// network order.
constexpr int kAddressSize = 4;
constexpr int kPortSize = 2;

/// There is no driver to refuse an entry.
constexpr char kOk[] = "ok";

struct FreeBytes {
  void operator()(unsigned char* bytes) const { free(bytes); }
};
using Bytes = std::unique_ptr<unsigned char, FreeBytes>;

/// Where a read stands, which its fault tells.
struct Place {
  const char* function;
  int line;
};

/// Raises a fault when the read at `place` failed.
void Check(const Place& place, int result) {
  if (result != CONFD_OK) APP_FAULT_FROM(place.function, 0, place.line, "%s", confd_lasterr());
}

/// The text of a leaf of the element at `path`; `before` when it cannot be read.
std::string ReadText(const Place& place, int cdb_socket, const std::string& path, const char* leaf,
                     const std::string& before = "") {
  char text[kTextSize] = {};
  before.copy(text, sizeof text - 1);
  Check(place, cdb_get_str(cdb_socket, text, sizeof text, "%s/%s", path.c_str(), leaf));
  return text;
}

std::string RowPath(const char* list, int row) {
  return std::string(list) + "[" + std::to_string(row) + "]";
}

std::string EntryPath(const char* list, const std::string& key) {
  return std::string(list) + "{" + key + "}";
}

/// The index of the first row that grants access to `sec_name`; empty when none does.
std::string CommunityOf(const std::string& sec_name, const CommunityMap& communities) {
  const auto found =
      std::find_if(communities.begin(), communities.end(),
                   [&sec_name](const auto& community) { return community.second == sec_name; });
  return found == communities.end() ? "" : found->first;
}

DyingGaspEntry MakeEntry(const TrapTarget& target) {
  DyingGaspEntry entry(target);
  BuildTrapMessage(entry.community, entry.message, entry.uptime_offset);
  return entry;
}

}  // namespace

DyingGaspTrapCfgHandler::DyingGaspTrapCfgHandler() {
  const auto change = &DyingGaspTrapCfgHandler::HandleCfg;
  subscription_points_ = {
      app::MakePoint(this, change, 30, app::ns::kConfdDyncfg, app::path::kAgentEnabled, 0),
      app::MakePoint(this, change, 30, app::ns::kSnmpCommunityMib, app::path::kCommunityEntry, 3),
      app::MakePoint(this, change, 30, app::ns::kSnmpTargetMib, app::path::kTargetParamsEntry, 3),
      app::MakePoint(this, change, 30, app::ns::kSnmpTargetMib, app::path::kTargetAddrEntry, 3),
  };
  log_category_ = app::RegisterCategory("-dying-gasp");
}

void DyingGaspTrapCfgHandler::LoadInitialConfig(int cdb_socket) {
  confd_value_t agent_enabled;
  if (cdb_get(cdb_socket, &agent_enabled, app::path::kAgentEnabled) == CONFD_OK) {
    agent_enabled_ = CONFD_GET_BOOL(&agent_enabled) != 0;
    APP_LOG(log_category_, app::kDetail, "Agent is enabled: %d", agent_enabled_ ? 1 : 0);
  }
  if (!agent_enabled_) return;
  APP_LOG(log_category_, app::kProgress, "Loading SNMP target configuration for dying-gasp traps");
  CommunityMap communities;
  GetCommunities(cdb_socket, communities);
  GetTargets(cdb_socket, targets_to_add_, communities);
  update_pending_ = true;
}

void DyingGaspTrapCfgHandler::StartCommit() {
  APP_LOG(log_category_, app::kDetail,
          "Starting commit of SNMP configuration for dying-gap traps.");
}

void DyingGaspTrapCfgHandler::ApplyCommitConfig() {
  if (!update_pending_) return;
  APP_LOG(log_category_, app::kDetail, "Updating targets of dying-gasp traps: cur=%zu, rem=%zu",
          targets_to_add_.size(), targets_to_remove_.size());
  for (const auto& [name, target] : targets_to_remove_) {
    const DyingGaspEntry entry = MakeEntry(target);
    APP_LOG(log_category_, app::kDetail, "Removed target %s: %s", entry.name.c_str(), kOk);
  }
  for (const auto& [name, target] : targets_to_add_) {
    const DyingGaspEntry entry = MakeEntry(target);
    APP_LOG(log_category_, app::kDetail, "Added target %s: %s", entry.name.c_str(), kOk);
  }
  update_pending_ = false;
  targets_to_add_.clear();
  targets_to_remove_.clear();
}

// What reads a typed value stands here: where a value has another type, the process ends with this
// function's name.
confd_iter_ret DyingGaspTrapCfgHandler::HandleCfg(confd_hkeypath_t* kp, confd_iter_op op,
                                                  confd_value_t* /*old_value*/,
                                                  confd_value_t* new_value) {
  if (update_pending_) return ITER_STOP;
  const app::KeyPathText kp_text(kp);
  APP_LOG(log_category_, app::kDetail, "Called kp %s, op %d", kp_text.c_str(), op);
  uint32_t tag = 0;
  const confd_value_t* cfg_value = nullptr;
  switch (op) {
    case MOP_MODIFIED:
      UpdateTargets();
      return ITER_STOP;
    case MOP_VALUE_SET:
      tag = CONFD_GET_XMLTAG(&kp->v[0][0]);
      APP_LOG_VALUE(log_category_, "New value: %s", new_value);
      cfg_value = new_value;
      break;
    case MOP_CREATED:
    case MOP_DELETED:
      tag = CONFD_GET_XMLTAG(&kp->v[1][0]);
      cfg_value = &kp->v[0][0];
      break;
    default:
      APP_LOG(log_category_, app::kNotice, "Ignored operation %d", op);
      return ITER_CONTINUE;
  }
  if (tag == app::tag::kEnabled) {
    agent_enabled_ = CONFD_GET_BOOL(cfg_value) != 0;
    GatherAll();
  }
  UpdateTargets();
  return ITER_STOP;
}

void DyingGaspTrapCfgHandler::GatherAll() {
  const VkConfdCdbSession session(confd_interface_, CDB_RUNNING, true);
  CommunityMap communities;
  GetCommunities(session.Socket(), communities);
  GetTargets(session.Socket(), agent_enabled_ ? targets_to_add_ : targets_to_remove_, communities);
  // Both directions tell the size of the map of additions.
  APP_LOG_FROM("HandleCfg", log_category_, app::kProgress,
               "Gathered %zu targets to be %s dying-gasp driver", targets_to_add_.size(),
               agent_enabled_ ? "added into" : "removed from");
}

void DyingGaspTrapCfgHandler::UpdateTargets() {
  if (!agent_enabled_) return;
  // Kept from the old configuration to the new one: a community that this commit deletes can still
  // be that of a new target.
  CommunityMap communities;
  const VkConfdCdbSession before(confd_interface_, CDB_PRE_COMMIT_RUNNING, true);
  GetCommunities(before.Socket(), communities);
  GetTargets(before.Socket(), targets_to_remove_, communities);
  APP_LOG(log_category_, app::kProgress,
          "Gathered %zu targets to be removed from dying-gasp driver", targets_to_remove_.size());
  const VkConfdCdbSession after(confd_interface_, CDB_RUNNING, true);
  GetCommunities(after.Socket(), communities);
  GetTargets(after.Socket(), targets_to_add_, communities);
  APP_LOG(log_category_, app::kProgress, "Gathered %zu targets to be added into dying-gasp driver",
          targets_to_add_.size());
  update_pending_ = true;
}

void DyingGaspTrapCfgHandler::GetCommunities(int cdb_socket, CommunityMap& communities) {
  const int rows = cdb_num_instances(cdb_socket, app::path::kCommunityEntry);
  APP_LOG(log_category_, app::kDetail, "Getting %d SNMP communities", rows);
  for (int row = 0; row < rows; ++row) {
    const std::string path = RowPath(app::path::kCommunityEntry, row);
    const std::string index =
        ReadText({__func__, __LINE__}, cdb_socket, path, "snmpCommunityIndex");
    if (index.empty()) continue;
    // A row whose security name cannot be read has its index as one.
    const std::string sec_name =
        ReadText({__func__, __LINE__}, cdb_socket, path, "snmpCommunitySecurityName", index);
    communities[index] = sec_name;
    APP_LOG(log_category_, app::kDetail, "Got SNMP community [%s] %s", index.c_str(),
            sec_name.c_str());
  }
}

void DyingGaspTrapCfgHandler::GetTargets(int cdb_socket, TargetMap& targets,
                                         const CommunityMap& communities) {
  const int rows = cdb_num_instances(cdb_socket, app::path::kTargetAddrEntry);
  APP_LOG(log_category_, app::kDetail, "Getting %d SNMP targets", rows);
  for (int row = 0; row < rows; ++row) {
    const std::string path = RowPath(app::path::kTargetAddrEntry, row);
    const std::string name = ReadText({__func__, __LINE__}, cdb_socket, path, "snmpTargetAddrName");
    if (name.empty()) continue;
    const TrapTarget target = GetTargetEntry(cdb_socket, name, communities);
    if (target == kEmptyTrapTarget) continue;
    targets[name] = target;
    APP_LOG(log_category_, app::kDetail, "Added %s", target.ToString().c_str());
  }
}

TrapTarget DyingGaspTrapCfgHandler::GetTargetEntry(int cdb_socket, const std::string& name,
                                                   const CommunityMap& communities) {
  APP_LOG(log_category_, app::kDetail, "key: %s", name.c_str());
  const std::string target = EntryPath(app::path::kTargetAddrEntry, name);
  const std::string params_name =
      ReadText({__func__, __LINE__}, cdb_socket, target, "snmpTargetAddrParams");
  if (params_name.empty()) return RejectParameters();
  const std::string params = EntryPath(app::path::kTargetParamsEntry, params_name);
  const std::string sec_name =
      ReadText({__func__, __LINE__}, cdb_socket, params, "snmpTargetParamsSecurityName");
  if (sec_name.empty()) return RejectParameters();
  int32_t model = -1;
  Check({__func__, __LINE__},
        cdb_get_int32(cdb_socket, &model, "%s/snmpTargetParamsMPModel", params.c_str()));
  if (model != kSnmpV2c) {
    APP_LOG(log_category_, app::kNotice, "Only SNMPv2 supported for dying-gasp trap");
    return kEmptyTrapTarget;
  }
  unsigned char* bytes = nullptr;
  int length = 0;
  Check({__func__, __LINE__},
        cdb_get_binary(cdb_socket, &bytes, &length, "%s/snmpTargetAddrTAddress", target.c_str()));
  const Bytes owner(bytes);
  if (length != kAddressSize + kPortSize) {
    APP_LOG(log_category_, app::kNotice, "Target address not valid, IP length %d",
            length - kPortSize);
    return kEmptyTrapTarget;
  }
  in_addr address = {};
  uint16_t port = 0;
  memcpy(&address, bytes, kAddressSize);
  memcpy(&port, bytes + kAddressSize, kPortSize);
  return {name,     nettypes::IPv4Addr(address),        ntohs(port),
          sec_name, CommunityOf(sec_name, communities), 0};
}

TrapTarget DyingGaspTrapCfgHandler::RejectParameters() {
  APP_LOG_FROM("GetTargetEntry", log_category_, app::kNotice, "Target parameters not valid");
  return kEmptyTrapTarget;
}
