#include "app/snmp_cfg_listen.h"

#include <exception>
#include <stdexcept>

#include "app/confd_names.h"
#include "app/confd_text.h"
#include "app/trace.h"
#include "confd_cdb.h"
#include "libiptools/iptools.h"
#include "vkconfd/cdb_session.h"

namespace {

using InterfaceInfo = SnmpListenCfgHandler::InterfaceInfo;

constexpr size_t kNameSize = 128;

/// The operations that records and faults of a shared step are written in the name of.
constexpr char kLoad[] = "LoadInitialConfig";
constexpr char kHandleCfg[] = "HandleCfg";

/// Installs the rules of an interface or removes them; each direction has its own words.
void ChangeRules(bool add, VkConfdInterface* confd_interface, zlog_category_s* category,
                 const std::string& name, const InterfaceInfo& info) {
  const char* function = add ? "SetInterfaceRules" : "DelInterfaceRules";
  if (info.vrf == 0) {
    APP_LOG_FROM(
        function, category, app::kProgress,
        add ? "No need for rules for interface %s" : "No rules expected to be for interface %s",
        name.c_str());
    return;
  }
  if (info.udp_port == 0 || info.redir_port == 0) {
    APP_LOG_FROM(function, category, app::kProgress,
                 add ? "Port not fully configured yet (cfg=%hu, red=%u), not changing rules"
                     : "Ports not fully configured yet (cfg=%hu, red=%u), not changing rules",
                 info.udp_port, info.redir_port);
    return;
  }
  const VkConfdCdbSession session(confd_interface, CDB_RUNNING, true);
  APP_LOG_FROM(
      function, category, app::kProgress,
      add ? "Creating Iptools instance for addition" : "Creating Iptools instance for deletion");
  libiptools::Iptools iptools(session.Socket(), category);
  APP_LOG_FROM(
      function, category, app::kProgress,
      add ? "Adding SNMP listening rules for %s" : "Removing SNMP listening rules for interface %s",
      name.c_str());
  APP_LOG_FROM(function, category, app::kDetail, "Port %hu redirected to %hu", info.udp_port,
               info.redir_port);
  if (iptools.addDelRuleSnmpListenIntf(add, info.kernel_name, info.vrf, info.udp_port,
                                       info.redir_port, IP_PROTO_UDP, TARGET_REDIRECT) != 0) {
    APP_FAULT_FROM(function, 0, __LINE__,
                   add ? "Rules NOT added for interface %s" : "Rules NOT removed for interface %s",
                   name.c_str());
  }
}

/// Runs a callback's step, which sets rules or deletes them; nothing that it throws gets past.
template <typename Step>
void GuardCallback(const char* function, bool set, const std::string& name, Step step) {
  try {
    step();
  } catch (const std::exception& exception) {
    APP_FAULT_FROM(function, 0, __LINE__,
                   set ? "%s: could not set rules for interface %s"
                       : "%s: could not del rules for interface %s",
                   exception.what(), name.c_str());
  } catch (...) {
    APP_FAULT_FROM(function, 0, __LINE__,
                   set ? "UNEXPECTED: could not set rules for interface %s"
                       : "UNEXPECTED: could not del rules for interface %s",
                   name.c_str());
  }
}

/// The record of `name`, or null after `missing` was told the failed lookup's text. Only the lookup
/// is caught: what the rule library throws is not about a missing record.
template <typename Missing>
InterfaceInfo* FindEntry(std::map<std::string, InterfaceInfo>& entries, const std::string& name,
                         Missing missing) {
  try {
    return &entries.at(name);
  } catch (const std::out_of_range& error) {
    missing(error.what());
    return nullptr;
  }
}

SnmpListenCfgHandler* HandlerOf(const boost::any& context) {
  return boost::any_cast<SnmpListenCfgHandler*>(context);
}

}  // namespace

void SetRules(const std::string& name, const InterfaceInfo& info, boost::any context) {
  GuardCallback(__func__, true, name, [&] { HandlerOf(context)->SetInterfaceRules(name, info); });
}

void DelRules(const std::string& name, const InterfaceInfo& info, boost::any context) {
  GuardCallback(__func__, false, name, [&] { HandlerOf(context)->DelInterfaceRules(name, info); });
}

void CleanupRules(const std::string& name, boost::any context) {
  GuardCallback(__func__, false, name, [&] {
    SnmpListenCfgHandler* handler = HandlerOf(context);
    handler->DelInterfaceRules(name, handler->Stash().entries.at(name));
  });
}

SnmpListenCfgHandler::SnmpListenCfgHandler() : stash_(std::make_unique<InterfaceStash>()) {
  const auto change = &SnmpListenCfgHandler::HandleCfg;
  subscription_points_ = {
      app::MakePoint(this, change, 10, app::ns::kConfdDyncfg, app::path::kAgentEnabled, 0),
      app::MakePoint(this, change, 20, app::ns::kSnmp, app::path::kListenInterface, 7),
  };
  log_category_ = app::RegisterCategory("-listen");
}

SnmpListenCfgHandler::~SnmpListenCfgHandler() = default;

void SnmpListenCfgHandler::LoadInitialConfig(int cdb_socket) {
  APP_LOG(log_category_, app::kProgress, "Loading SNMP listening configuration");
  stash_->cleanup = CleanupRules;
  stash_->cleanup_context = this;
  stash_->marks.clear();
  for (const auto& [name, info] : stash_->entries) stash_->marks.emplace(name, false);
  confd_value_t agent_enabled;
  if (cdb_get(cdb_socket, &agent_enabled, app::path::kAgentEnabled) == CONFD_OK) {
    const app::ValueGuard guard(&agent_enabled);
    agent_enabled_ = CONFD_GET_BOOL(&agent_enabled) != 0;
    APP_LOG(log_category_, app::kDetail, "Agent is %s", agent_enabled_ ? "enabled" : "disabled");
  }
  const int rows = cdb_num_instances(cdb_socket, app::path::kListenInterface);
  APP_LOG(log_category_, app::kDetail, "Getting %d listening interface(s)", rows);
  for (int row = 0; row < rows; ++row) ReservePort(cdb_socket, row);
  for (int row = 0; row < rows; ++row) LoadInterface(cdb_socket, row);
}

/// A row's stored port is its own before any other row is given one. Nothing is told here: the load
/// of the row reads both again.
void SnmpListenCfgHandler::ReservePort(int cdb_socket, int row) {
  confd_value_t port;
  if (cdb_get(cdb_socket, &port, "%s[%d]/redir-port", app::path::kListenInterface, row) !=
      CONFD_OK) {
    return;
  }
  const app::ValueGuard port_guard(&port);
  confd_value_t key;
  if (CONFD_GET_UINT16(&port) == 0 ||
      cdb_get(cdb_socket, &key, "%s[%d]/name", app::path::kListenInterface, row) != CONFD_OK) {
    return;
  }
  const app::ValueGuard key_guard(&key);
  const std::string name = APP_BUF_TEXT(&key);
  if (!name.empty()) redir_ports_.Add(name, CONFD_GET_UINT16(&port));
}

void SnmpListenCfgHandler::LoadInterface(int cdb_socket, int row) {
  const auto check = [](int line, int result) {
    if (result != CONFD_OK) APP_FAULT_FROM(kLoad, 0, line, "%s", confd_lasterr());
  };
  char name[kNameSize] = {};
  check(__LINE__, cdb_get_str(cdb_socket, name, sizeof name, "%s[%d]/name",
                              app::path::kListenInterface, row));
  if (name[0] == '\0') return;
  InterfaceInfo info;
  GatherInterfaceInfo(cdb_socket, name, info);
  check(__LINE__, cdb_get_u_int16(cdb_socket, &info.udp_port, "%s[%d]/udp-port",
                                  app::path::kListenInterface, row));
  check(__LINE__, cdb_get_u_int16(cdb_socket, &info.redir_port, "%s[%d]/redir-port",
                                  app::path::kListenInterface, row));
  // An interface in no VRF has none, and gets one of its own when it comes into a VRF.
  if (info.redir_port != 0) redir_ports_.Add(name, info.redir_port);
  stash_->entries[name] = info;
  stash_->marks[name] = true;
}

void SnmpListenCfgHandler::ApplyInitialConfig() {
  ApplyCommitConfig();
  for (const auto& [name, configured] : stash_->marks) {
    if (configured) continue;
    // Erased first: the clean-up finds no record, and the rules of the interface stay.
    stash_->entries.erase(name);
    if (stash_->cleanup) stash_->cleanup(name, stash_->cleanup_context);
  }
}

void SnmpListenCfgHandler::StartCommit() {
  APP_LOG(log_category_, app::kDetail, "Starting commit of configuration for SNMP listening.");
}

void SnmpListenCfgHandler::ApplyCommitConfig() {
  APP_LOG(log_category_, app::kDetail, "Applying new configuration for SNMP listening.");
  using RuleCallback = void (*)(const std::string&, const InterfaceInfo&, boost::any);
  const RuleCallback callback = agent_enabled_ ? &SetRules : &DelRules;
  const boost::any context = this;
  for (const auto& [name, info] : stash_->entries) callback(name, info, context);
}

// What reads a typed value stands here: where a value has another type, the process ends with this
// function's name.
confd_iter_ret SnmpListenCfgHandler::HandleCfg(confd_hkeypath_t* kp, confd_iter_op op,
                                               confd_value_t* /*old_value*/,
                                               confd_value_t* cfg_value) {
  const app::KeyPathText kp_text(kp);
  APP_LOG(log_category_, app::kDetail, "Called kp %s, op %d", kp_text.c_str(), op);
  switch (op) {
    case MOP_MODIFIED:
      return ITER_RECURSE;
    case MOP_VALUE_SET: {
      const uint32_t tag = CONFD_GET_XMLTAG(&kp->v[0][0]);
      APP_LOG_VALUE(log_category_, "New value: %s", cfg_value);
      if (tag == app::tag::kEnabled) {
        agent_enabled_ = CONFD_GET_BOOL(cfg_value) != 0;
      } else if (tag == app::tag::kUdpPort) {
        const std::string name = APP_BUF_TEXT(&kp->v[1][0]);
        InterfaceInfo* info = TakeRulesOff(name, false);
        if (info != nullptr) SetPort(name, *info, CONFD_GET_UINT16(cfg_value));
      } else {
        IgnoreTag(tag);
      }
      return ITER_CONTINUE;
    }
    case MOP_CREATED:
    case MOP_DELETED: {
      const uint32_t tag = CONFD_GET_XMLTAG(&kp->v[1][0]);
      if (tag != app::tag::kInterface) return IgnoreTag(tag);
      const std::string name = APP_BUF_TEXT(&kp->v[0][0]);
      return op == MOP_CREATED ? CreateEntry(name) : DeleteEntry(name);
    }
    default:
      APP_LOG(log_category_, app::kNotice, "Ignored operation %d", op);
      return ITER_CONTINUE;
  }
}

confd_iter_ret SnmpListenCfgHandler::IgnoreTag(uint32_t tag) const {
  APP_LOG_FROM(kHandleCfg, log_category_, app::kNotice, "Ignoring tag %d",
               static_cast<int32_t>(tag));
  return ITER_CONTINUE;
}

SnmpListenCfgHandler::InterfaceInfo* SnmpListenCfgHandler::TakeRulesOff(const std::string& name,
                                                                        bool for_good) {
  InterfaceInfo* info = FindEntry(stash_->entries, name, [&](const char* error) {
    APP_FAULT_FROM(kHandleCfg, 0, __LINE__,
                   for_good ? "%s: could not del rules for interface %s"
                            : "%s: could not update port for interface %s",
                   error, name.c_str());
  });
  if (info != nullptr) DelInterfaceRules(name, *info);
  return info;
}

void SnmpListenCfgHandler::SetPort(const std::string& name, InterfaceInfo& info,
                                   uint16_t udp_port) const {
  info.udp_port = udp_port;
  APP_LOG_FROM(kHandleCfg, log_category_, app::kProgress,
               "Updating listening interface %s with new port %hu", name.c_str(), udp_port);
}

confd_iter_ret SnmpListenCfgHandler::CreateEntry(const std::string& name) {
  const VkConfdCdbSession session(confd_interface_, CDB_RUNNING, true);
  InterfaceInfo info;
  GatherInterfaceInfo(session.Socket(), name, info);
  APP_LOG_FROM(kHandleCfg, log_category_, app::kProgress, "Adding interface %s to stash",
               name.c_str());
  stash_->entries[name] = info;
  return ITER_RECURSE;
}

confd_iter_ret SnmpListenCfgHandler::DeleteEntry(const std::string& name) {
  if (TakeRulesOff(name, true) == nullptr) return ITER_CONTINUE;
  APP_LOG_FROM(kHandleCfg, log_category_, app::kProgress, "Removing interface %s from stash",
               name.c_str());
  stash_->entries.erase(name);
  redir_ports_.Erase(name);
  return ITER_CONTINUE;
}

void SnmpListenCfgHandler::GatherInterfaceInfo(int cdb_socket, const std::string& name,
                                               InterfaceInfo& info) {
  std::string ipv4;
  std::string ipv6;
  libiptools::GetVrfSourceInterfaceIP(log_category_, cdb_socket, name, ipv4, ipv6, info.vrf);
  info.kernel_name = libiptools::TranslateSource(cdb_socket, name);
  APP_LOG(log_category_, app::kDetail, "Got interface %s vrf %u kernel name %s", name.c_str(),
          info.vrf, info.kernel_name.c_str());
  info.redir_port = info.vrf == 0 ? info.udp_port : AllocateRedirPort(name);
}

uint16_t SnmpListenCfgHandler::AllocateRedirPort(const std::string& name) {
  return redir_ports_.Allocate(name);
}

void SnmpListenCfgHandler::UpdateEntry(const std::string& name) {
  APP_LOG(log_category_, app::kProgress, "Updating listening interface %s", name.c_str());
  InterfaceInfo* entry = FindEntry(stash_->entries, name, [&](const char* error) {
    APP_LOG_FROM("UpdateEntry", log_category_, app::kProgress, "Interface %s not found on stash %s",
                 name.c_str(), error);
  });
  if (entry == nullptr) return;
  DelInterfaceRules(name, *entry);
  const VkConfdCdbSession session(confd_interface_, CDB_RUNNING, true);
  InterfaceInfo info = *entry;
  GatherInterfaceInfo(session.Socket(), name, info);
  APP_LOG(log_category_, app::kProgress, "Updating interface %s to stash", name.c_str());
  *entry = info;
}

void SnmpListenCfgHandler::SetInterfaceRules(const std::string& name, const InterfaceInfo& info) {
  ChangeRules(true, confd_interface_, log_category_, name, info);
}

void SnmpListenCfgHandler::DelInterfaceRules(const std::string& name, const InterfaceInfo& info) {
  ChangeRules(false, confd_interface_, log_category_, name, info);
}
