// A handler of trap targets of its own, connected to the fake device.
#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "app/snmp_cfg_dying_gasp.h"
#include "confd/value_text.h"
#include "device_test.h"
#include "key_path.h"

namespace gasp {

constexpr char kEnabled[] = "/confd_dyncfg:confdConfig/snmpAgent/enabled";
constexpr char kCommunities[] =
    "/SNMP_COMMUNITY_MIB:SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry";
constexpr char kParams[] =
    "/SNMP_TARGET_MIB:SNMP-TARGET-MIB/snmpTargetParamsTable/snmpTargetParamsEntry";
constexpr char kTargets[] =
    "/SNMP_TARGET_MIB:SNMP-TARGET-MIB/snmpTargetAddrTable/snmpTargetAddrEntry";

/// 10.0.0.5, port 162.
constexpr char kAddress[] = "\x0a\x00\x00\x05\x00\xa2";
inline const std::string kAddressBytes(kAddress, 6);

using Lines = std::vector<std::string>;

/// The line of a record that the handler writes.
inline std::string Line(const std::string& function, int level, const std::string& text) {
  return "snmp-app-dying-gasp src/app/snmp_cfg_dying_gasp " + function + " " +
         std::to_string(level) + " " + text;
}

/// The line of a fault of the handler.
inline std::string Fault(const std::string& function, const std::string& text) {
  return "0 " + function + " src/app/snmp_cfg_dying_gasp " + text;
}

inline std::string Row(const std::string& list, const std::string& key, const std::string& leaf) {
  return list + "{" + key + "}/" + leaf;
}

inline void AddCommunity(fake::Database& database, const std::string& index,
                         const std::string& sec_name = "v2user") {
  database.AddEntry(kCommunities, {{"snmpCommunityIndex", common::MakeBuf(index)}});
  if (index.empty()) return;
  database.Set(Row(kCommunities, index, "snmpCommunityName"), common::MakeBuf("never read"));
  database.Set(Row(kCommunities, index, "snmpCommunitySecurityName"), common::MakeBuf(sec_name));
}

inline void SetModel(fake::Database& database, const std::string& params, int32_t model) {
  database.Set(Row(kParams, params, "snmpTargetParamsMPModel"), common::MakeInt32(model));
}

inline void SetAddress(fake::Database& database, const std::string& name,
                       const std::string& bytes) {
  database.Set(Row(kTargets, name, "snmpTargetAddrTAddress"), common::MakeBinary(bytes));
}

/// A target with a row of parameters for itself, which has "params-" before its name.
inline void AddTarget(fake::Database& database, const std::string& name,
                      const std::string& sec_name = "v2user",
                      const std::string& address = kAddressBytes) {
  const std::string params = "params-" + name;
  database.AddEntry(kTargets, {{"snmpTargetAddrName", common::MakeBuf(name)}});
  database.Set(Row(kTargets, name, "snmpTargetAddrParams"), common::MakeBuf(params));
  SetAddress(database, name, address);
  database.AddEntry(kParams, {{"snmpTargetParamsName", common::MakeBuf(params)}});
  database.Set(Row(kParams, params, "snmpTargetParamsSecurityName"), common::MakeBuf(sec_name));
  SetModel(database, params, 1);
}

inline void DeleteTarget(fake::Database& database, const std::string& name) {
  database.Delete(kTargets + ("{" + name + "}"));
}

/// What a gathering logs that finds the community "public" and the target of AddTarget "t1", or
/// what of the two there is.
inline Lines GatheringLines(bool has_community = true, bool has_target = true) {
  Lines lines = {Line("GetCommunities", 10,
                      "Getting " + std::to_string(has_community ? 1 : 0) + " SNMP communities")};
  if (has_community) {
    lines.push_back(Line("GetCommunities", 10, "Got SNMP community [public] v2user"));
  }
  lines.push_back(
      Line("GetTargets", 10, "Getting " + std::to_string(has_target ? 1 : 0) + " SNMP targets"));
  if (!has_target) return lines;
  lines.push_back(Line("GetTargetEntry", 10, "key: t1"));
  lines.push_back(Line("GetTargets", 10,
                       "Added Target t1, IP 10.0.0.5:162, community public, sec_name v2user"));
  return lines;
}

/// What UpdateTargets logs at its end of each gathering.
inline std::string GatheredToRemove(size_t count) {
  return Line(
      "UpdateTargets", 11,
      "Gathered " + std::to_string(count) + " targets to be removed from dying-gasp driver");
}
inline std::string GatheredToAdd(size_t count) {
  return Line("UpdateTargets", 11,
              "Gathered " + std::to_string(count) + " targets to be added into dying-gasp driver");
}

/// What ApplyCommitConfig logs.
inline Lines ApplyLines(const Lines& removed, const Lines& added) {
  Lines lines = {Line("ApplyCommitConfig", 10,
                      "Updating targets of dying-gasp traps: cur=" + std::to_string(added.size()) +
                          ", rem=" + std::to_string(removed.size()))};
  for (const std::string& name : removed) {
    lines.push_back(Line("ApplyCommitConfig", 10, "Removed target " + name + ": ok"));
  }
  for (const std::string& name : added) {
    lines.push_back(Line("ApplyCommitConfig", 10, "Added target " + name + ": ok"));
  }
  return lines;
}

inline Lines operator+(Lines lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
  return lines;
}

}  // namespace gasp

class DyingGaspTest : public DeviceTest {
 protected:
  DyingGaspTest() {
    handler_.SetConfdInterface(&device_.confd.interface);
    ForgetRecords();
  }

  fake::Database& Running() { return device_.confd.running; }

  void ForgetRecords() {
    device_.journal.clear();
    device_.log.records.clear();
    device_.middleware.faults.clear();
  }

  void EnableAgent(bool enabled) { Running().Set(gasp::kEnabled, common::MakeBool(enabled)); }

  /// Has the handler load from a session on the running configuration.
  void Load() {
    const int socket = device_.confd.OpenSession(CDB_RUNNING);
    handler_.LoadInitialConfig(socket);
    device_.confd.CloseSession(socket);
  }

  /// Loads and applies with an enabled agent, and forgets all records.
  void Start() {
    EnableAgent(true);
    Load();
    handler_.ApplyInitialConfig();
    ForgetRecords();
  }

  /// Brings a change into force as a commit does, up to its delivery.
  void Commit(const std::function<void(fake::Database&)>& edit) {
    device_.confd.pre_commit = Running().Copy();
    edit(Running());
  }

  /// A commit that changes nothing.
  void Commit() {
    Commit([](fake::Database&) {});
  }

  /// Tells of a change of a row of the targets.
  confd_iter_ret ChangeRow(confd_iter_op op, const std::string& name = "t1") {
    const common::OwnedValue key(common::MakeBuf(name));
    confd_hkeypath_t kp =
        EntryPath({"SNMP-TARGET-MIB", "snmpTargetAddrTable", "snmpTargetAddrEntry"}, key.Value());
    return handler_.HandleCfg(&kp, op, nullptr, nullptr);
  }

  /// Tells of a new value of a leaf.
  confd_iter_ret ChangeLeaf(const std::vector<std::string>& names, const confd_value_t& value) {
    common::OwnedValue owned(value);
    confd_hkeypath_t kp = ElementPath(names);
    return handler_.HandleCfg(&kp, MOP_VALUE_SET, nullptr, owned.Get());
  }

  /// Tells of a new value of the agent's enable flag.
  confd_iter_ret ChangeEnabled(bool enabled) {
    EnableAgent(enabled);
    return ChangeLeaf({"confdConfig", "snmpAgent", "enabled"}, common::MakeBool(enabled));
  }

  /// What the handler logs when it applies.
  gasp::Lines Apply() {
    ForgetRecords();
    handler_.ApplyCommitConfig();
    return LogLines();
  }

  /// How often a line was logged.
  int Count(const std::string& line) const {
    const gasp::Lines lines = LogLines();
    return static_cast<int>(std::count(lines.begin(), lines.end(), line));
  }

  DyingGaspTrapCfgHandler handler_;
};
