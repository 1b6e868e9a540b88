#include "app/snmp_data_listen.h"

#include "app/confd_names.h"
#include "app/confd_text.h"
#include "app/handler.h"
#include "app/trace.h"
#include "confd_cdb.h"
#include "confd_maapi.h"
#include "vkconfd/cdb_session.h"

namespace {

constexpr size_t kVrfNameSize = 8192;

constexpr char kVrf[] = "/config/interface/l3{%s}/vrf";
constexpr char kIpv4Address[] = "/config/interface/l3{%s}/ipv4/address/ip";
constexpr char kIpv6Enable[] = "/config/interface/l3{%s}/ipv6/enable";
constexpr char kIpv6Addresses[] = "/config/interface/l3{%s}/ipv6/address";
constexpr char kVrfIndex[] =
    "/metacli-internal:internal/metacli-internal:vrf-config/stringTOindex{%s}/vrf-idx";

constexpr char kWildcard[] = "0.0.0.0";

int MaapiSocket(const confd_trans_ctx* tctx) {
  return static_cast<VkConfdInterface*>(tctx->dx->d_opaque)->MaapiSocket();
}

bool HasL3Prefix(const std::string& name) {
  return name.compare(0, app::kL3PrefixLength, app::kL3Prefix) == 0;
}

std::string L3Name(const std::string& name) { return name.substr(app::kL3PrefixLength); }

/// Stands at the first IPv6 address of an L3 interface in a transaction.
class Cursor {
 public:
  Cursor(const confd_trans_ctx* tctx, const std::string& l3_name) {
    maapi_init_cursor(MaapiSocket(tctx), tctx->thandle, &cursor_, kIpv6Addresses, l3_name.c_str());
    maapi_get_next(&cursor_);
  }
  ~Cursor() { maapi_destroy_cursor(&cursor_); }
  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;

  /// The key of the address, null when there is none.
  const confd_value_t* Key() const { return cursor_.n > 0 ? &cursor_.keys[0] : nullptr; }

 private:
  maapi_cursor cursor_ = {};
};

}  // namespace

SnmpListenDataHandler::SnmpListenDataHandler(
    const std::shared_ptr<SnmpListenCfgHandler>& listen_handler)
    : DataHandler(false, true, false, false, false, true, false), listen_handler_(listen_handler) {
  log_category_ = app::RegisterCategory("-listen");
  callpoint_ = std::make_unique<SnmpListenCallpoint>(this);
  callpoints_.push_back(callpoint_.get());
}

SnmpListenDataHandler::~SnmpListenDataHandler() = default;

using SnmpListenCallpoint = SnmpListenDataHandler::SnmpListenCallpoint;

int SnmpListenCallpoint::CreateCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath) {
  const app::KeyPathText path(keypath);
  const std::string name = APP_BUF_TEXT(&keypath->v[0][0]);
  APP_LOG(Category(), app::kDetail, "Added %s to list of listening interfaces", name.c_str());
  if (!IsL3(__func__, name)) return CONFD_OK;
  char vrf[kVrfNameSize] = {};
  if (maapi_get_str_elem(MaapiSocket(tctx), tctx->thandle, vrf, sizeof vrf, kVrf,
                         L3Name(name).c_str()) != CONFD_OK) {
    if (confd_errno != CONFD_ERR_NOEXISTS) {
      APP_FATAL("Failed to retrieve VRF data associated to listening interface (%s): %s",
                name.c_str(), confd_lasterr());
    }
    uint16_t port = 0;
    if (maapi_get_u_int16_elem(MaapiSocket(tctx), tctx->thandle, &port, "%s/udp-port",
                               path.c_str()) != CONFD_OK) {
      APP_FATAL("Failed to retrieve UDP port of listening interface (%s): %s", name.c_str(),
                confd_lasterr());
    }
    return AddExtraEntryNoVrf(tctx, name, port);
  }
  uint32_t vrf_index = 0;
  if (maapi_get_u_int32_elem(MaapiSocket(tctx), tctx->thandle, &vrf_index, kVrfIndex, vrf) !=
      CONFD_OK) {
    APP_FATAL("Failed to retrieve VRF (%s) data of listening interface (%s): %s", vrf, name.c_str(),
              confd_lasterr());
  }
  AddVrfEntry(tctx, path.c_str(), name);
  return CONFD_OK;
}

/// The wildcard entry of an interface in a VRF, and its port in the listen entry at `path`.
void SnmpListenCallpoint::AddVrfEntry(confd_trans_ctx* tctx, const char* path,
                                      const std::string& name) {
  constexpr char kFunction[] = "CreateCallback";
  const uint16_t port = handler_->listen_handler_->AllocateRedirPort(name);
  if (AddExtraEntry(kFunction, tctx, name, kWildcard, port)) {
    APP_LOG_FROM(kFunction, Category(), app::kDetail, "New extraIpPorts entry: 0.0.0.0:%hu", port);
  }
  if (maapi_set_elem2(MaapiSocket(tctx), tctx->thandle, std::to_string(port).c_str(),
                      "%s/redir-port", path) != CONFD_OK) {
    APP_FATAL_FROM(kFunction, "Failed to set redirected port (%hu) for interface (%s): %s", port,
                   name.c_str(), confd_lasterr());
  }
  APP_LOG_FROM(kFunction, Category(), app::kDetail,
               "Added redirected port %hu to interface %s entry", port, name.c_str());
}

// What reads a typed value stands here: where a value has another type, the process ends with this
// function's name.
int SnmpListenCallpoint::SetElemCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath,
                                         confd_value_t* newval) {
  const app::KeyPathText path(keypath);
  const uint32_t tag = CONFD_GET_XMLTAG(&keypath->v[0][0]);
  if (tag != app::tag::kUdpPort && tag != app::tag::kRedirPort) {
    APP_FATAL("Unexpected tag in the path (%s) for SNMP listening config", path.c_str());
  }
  const std::string name = APP_BUF_TEXT(&keypath->v[1][0]);
  if (tag == app::tag::kRedirPort) {
    APP_LOG(Category(), app::kProgress, "Nothing to do with redirected UDP port for interface %s",
            name.c_str());
    return CONFD_OK;
  }
  APP_LOG(Category(), app::kDetail, "Changed UDP port for listening interface %s", name.c_str());
  if (!IsL3(__func__, name)) return CONFD_OK;
  const VkConfdCdbSession session(handler_->confd_interface_, CDB_RUNNING, true);
  const bool had_vrf = InterfaceHadVrf(session.Socket(), L3Name(name));
  const bool has_vrf = InterfaceHasVrf(tctx, L3Name(name));
  if (!had_vrf) DelOldEntries(session.Socket(), tctx, name);
  if (!has_vrf) AddExtraEntryNoVrf(tctx, name, CONFD_GET_UINT16(newval));
  return CONFD_OK;
}

/// Deletes the entries with the port from before the transaction; a new interface had none.
void SnmpListenCallpoint::DelOldEntries(int cdb_socket, confd_trans_ctx* tctx,
                                        const std::string& name) {
  uint16_t old_port = 0;
  if (cdb_get_u_int16(cdb_socket, &old_port, "%s{%s}/udp-port", app::path::kListenInterface,
                      name.c_str()) == CONFD_OK) {
    DelExtraEntryNoVrf(tctx, name, old_port);
  } else if (confd_errno != CONFD_ERR_NOEXISTS) {
    APP_FATAL_FROM("SetElemCallback",
                   "Failed to retrieve old UDP port value for listening interface (%s): %s",
                   name.c_str(), confd_lasterr());
  }
}

int SnmpListenCallpoint::RemoveCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath) {
  const app::KeyPathText path(keypath);
  const std::string name = APP_BUF_TEXT(&keypath->v[0][0]);
  APP_LOG(Category(), app::kDetail, "Removed %s from list of listening interfaces", name.c_str());
  if (!IsL3(__func__, name)) return CONFD_OK;
  const VkConfdCdbSession session(handler_->confd_interface_, CDB_RUNNING, true);
  char vrf[kVrfNameSize] = {};
  if (cdb_get_str(session.Socket(), vrf, sizeof vrf, kVrf, L3Name(name).c_str()) != CONFD_OK) {
    if (confd_errno != CONFD_ERR_NOEXISTS) {
      APP_FATAL("Failed to retrieve VRF data associated to listening interface (%s): %s",
                name.c_str(), confd_lasterr());
    }
    uint16_t port = 0;
    if (cdb_get_u_int16(session.Socket(), &port, "%s/udp-port", path.c_str()) != CONFD_OK) {
      APP_FATAL("Failed to retrieve UDP port of listening interface (%s): %s", name.c_str(),
                confd_lasterr());
    }
    return DelExtraEntryNoVrf(tctx, name, port);
  }
  uint32_t vrf_index = 0;
  if (cdb_get_u_int32(session.Socket(), &vrf_index, kVrfIndex, vrf) != CONFD_OK) {
    APP_FATAL("Failed to retrieve VRF (%s) data of listening interface (%s): %s", vrf, name.c_str(),
              confd_lasterr());
  }
  const uint16_t port = handler_->listen_handler_->AllocateRedirPort(name);
  DelExtraEntry(__func__, true, tctx, name, kWildcard, port);
  APP_LOG(Category(), app::kDetail, "Removed extraIpPorts entry: 0.0.0.0:%hu", port);
  return CONFD_OK;
}

/// False, with a record, for a name that stands for no L3 interface.
bool SnmpListenCallpoint::IsL3(const char* function, const std::string& name) const {
  if (HasL3Prefix(name)) return true;
  APP_LOG_FROM(function, Category(), app::kProgress, "Ignoring no-L3 listening interfaces");
  return false;
}

bool SnmpListenCallpoint::InterfaceHadVrf(int cdb_socket, const std::string& l3_name) {
  char vrf[kVrfNameSize] = {};
  if (cdb_get_str(cdb_socket, vrf, sizeof vrf, kVrf, l3_name.c_str()) == CONFD_OK) return true;
  if (confd_errno != CONFD_ERR_NOEXISTS) {
    APP_FATAL("Failed to retrieve old VRF data associated to listening interface (%s): %s",
              l3_name.c_str(), confd_lasterr());
  }
  return false;
}

bool SnmpListenCallpoint::InterfaceHasVrf(confd_trans_ctx* tctx, const std::string& l3_name) {
  char vrf[kVrfNameSize] = {};
  if (maapi_get_str_elem(MaapiSocket(tctx), tctx->thandle, vrf, sizeof vrf, kVrf,
                         l3_name.c_str()) == CONFD_OK) {
    return true;
  }
  if (confd_errno != CONFD_ERR_NOEXISTS) {
    APP_FATAL("Failed to retrieve new VRF data associated to listening interface (%s): %s",
              l3_name.c_str(), confd_lasterr());
  }
  return false;
}

/// False for an entry that is there already.
bool SnmpListenCallpoint::AddExtraEntry(const char* function, confd_trans_ctx* tctx,
                                        const std::string& name, const std::string& address,
                                        uint16_t port) {
  if (maapi_create(MaapiSocket(tctx), tctx->thandle, "%s{%s:%u}", app::path::kAgentExtraIpPorts,
                   address.c_str(), port) == CONFD_OK) {
    return true;
  }
  if (confd_errno != CONFD_ERR_ALREADY_EXISTS) {
    APP_FATAL_FROM(function, "Failed to create extraIpPorts entry (%s:%hu) for interface (%s): %s",
                   address.c_str(), port, name.c_str(), confd_lasterr());
  }
  return false;
}

/// A fault's text speaks of a deletion, or as if an entry were created.
void SnmpListenCallpoint::DelExtraEntry(const char* function, bool tells_deletion,
                                        confd_trans_ctx* tctx, const std::string& name,
                                        const std::string& address, uint16_t port) {
  if (maapi_delete(MaapiSocket(tctx), tctx->thandle, "%s{%s:%u}", app::path::kAgentExtraIpPorts,
                   address.c_str(), port) != CONFD_OK &&
      confd_errno != CONFD_ERR_NOEXISTS) {
    APP_FATAL_FROM(function,
                   tells_deletion
                       ? "Failed to delete extraIpPorts entry (%s:%hu) for interface (%s): %s"
                       : "Failed to create extraIpPorts entry (%s:%hu) for interface (%s): %s",
                   address.c_str(), port, name.c_str(), confd_lasterr());
  }
}

void SnmpListenCallpoint::LogAdded(const char* function, const std::string& address,
                                   uint16_t port) const {
  APP_LOG_FROM(function, Category(), app::kDetail, "New extraIpPorts entry: %s:%hu",
               address.c_str(), port);
}

void SnmpListenCallpoint::LogRemoved(const std::string& address, uint16_t port) const {
  APP_LOG_FROM("DelExtraEntryNoVrf", Category(), app::kDetail, "Removed extraIpPorts entry: %s:%hu",
               address.c_str(), port);
}

int SnmpListenCallpoint::AddExtraEntryIPv4(confd_trans_ctx* tctx, const std::string& name,
                                           const nettypes::IPv4Addr& address, uint16_t port) {
  const std::string text = address.to_string();
  if (AddExtraEntry(__func__, tctx, name, text, port)) LogAdded(__func__, text, port);
  return CONFD_OK;
}

int SnmpListenCallpoint::AddExtraEntryIPv6(confd_trans_ctx* tctx, const std::string& name,
                                           const nettypes::IPv6Addr& address, uint16_t port) {
  const std::string text = address.to_string();
  if (AddExtraEntry(__func__, tctx, name, text, port)) LogAdded(__func__, text, port);
  return CONFD_OK;
}

int SnmpListenCallpoint::AddExtraEntryNoVrf(confd_trans_ctx* tctx, const std::string& name,
                                            uint16_t port) {
  APP_LOG(Category(), app::kDetail, "Interface %s (no VRF), port number %hu", name.c_str(), port);
  const std::string l3_name = L3Name(name);
  confd_ipv4_prefix ipv4 = {};
  if (maapi_get_ipv4_and_plen_elem(MaapiSocket(tctx), tctx->thandle, &ipv4, kIpv4Address,
                                   l3_name.c_str()) == CONFD_OK) {
    const nettypes::IPv4Addr address(ipv4.ip);
    APP_LOG(Category(), app::kDetail, "Read IPv4 %s for interface %s", address.to_string().c_str(),
            name.c_str());
    AddExtraEntryIPv4(tctx, name, address, port);
  } else if (confd_errno != CONFD_ERR_NOEXISTS) {
    APP_FATAL("Failed to retrieve IPv4 address of listening interface (%s): %s", name.c_str(),
              confd_lasterr());
  }
  int ipv6_enabled = 0;
  if (maapi_get_bool_elem(MaapiSocket(tctx), tctx->thandle, &ipv6_enabled, kIpv6Enable,
                          l3_name.c_str()) != CONFD_OK) {
    if (confd_errno == CONFD_ERR_NOEXISTS) return CONFD_OK;
    APP_FATAL("Failed to check IPv6 enabled for interface (%s): %s", name.c_str(), confd_lasterr());
  }
  if (ipv6_enabled != 0) AddFirstIPv6(tctx, name, port);
  return CONFD_OK;
}

/// The entry of the first IPv6 address in the transaction, if there is one.
void SnmpListenCallpoint::AddFirstIPv6(confd_trans_ctx* tctx, const std::string& name,
                                       uint16_t port) {
  constexpr char kFunction[] = "AddExtraEntryNoVrf";
  const std::string l3_name = L3Name(name);
  Cursor cursor(tctx, l3_name);
  if (cursor.Key() == nullptr) return;
  confd_ipv6_prefix ipv6 = {};
  if (maapi_get_ipv6_and_plen_elem(MaapiSocket(tctx), tctx->thandle, &ipv6,
                                   "/config/interface/l3{%s}/ipv6/address{%x}/ip", l3_name.c_str(),
                                   cursor.Key()) != CONFD_OK) {
    APP_FATAL_FROM(kFunction, "Failed to retrieve IPv6 address of listening interface (%s): %s",
                   name.c_str(), confd_lasterr());
  }
  const nettypes::IPv6Addr address(ipv6.ip6, nettypes::MACAddr());
  APP_LOG_FROM(kFunction, Category(), app::kDetail, "Read IPv6 %s for interface %s",
               address.to_string().c_str(), name.c_str());
  AddExtraEntryIPv6(tctx, name, address, port);
}

int SnmpListenCallpoint::DelExtraEntryNoVrf(confd_trans_ctx* tctx, const std::string& name,
                                            uint16_t port) {
  const VkConfdCdbSession session(handler_->confd_interface_, CDB_RUNNING, true);
  APP_LOG(Category(), app::kDetail, "Interface %s (no VRF), port number %hu", name.c_str(), port);
  const std::string l3_name = L3Name(name);
  confd_ipv4_prefix ipv4 = {};
  if (cdb_get_ipv4_and_plen(session.Socket(), &ipv4, kIpv4Address, l3_name.c_str()) == CONFD_OK) {
    const nettypes::IPv4Addr address(ipv4.ip);
    APP_LOG(Category(), app::kDetail, "Read IPv4 %s for interface %s", address.to_string().c_str(),
            name.c_str());
    DelExtraEntry(__func__, true, tctx, name, address.to_string(), port);
    LogRemoved(address.to_string(), port);
  } else if (confd_errno != CONFD_ERR_NOEXISTS) {
    APP_FATAL("Failed to retrieve IPv4 address of listening interface (%s): %s", name.c_str(),
              confd_lasterr());
  }
  int ipv6_enabled = 0;
  if (cdb_get_bool(session.Socket(), &ipv6_enabled, kIpv6Enable, l3_name.c_str()) != CONFD_OK) {
    if (confd_errno == CONFD_ERR_NOEXISTS) return CONFD_OK;
    APP_FATAL("Failed to check IPv6 enabled for interface (%s): %s", name.c_str(), confd_lasterr());
  }
  if (ipv6_enabled != 0) DelFirstIPv6(session.Socket(), tctx, name, port);
  return CONFD_OK;
}

/// Deletes the entry of the first IPv6 address in the running configuration, if there is one.
void SnmpListenCallpoint::DelFirstIPv6(int cdb_socket, confd_trans_ctx* tctx,
                                       const std::string& name, uint16_t port) {
  constexpr char kFunction[] = "DelExtraEntryNoVrf";
  const std::string l3_name = L3Name(name);
  if (cdb_num_instances(cdb_socket, kIpv6Addresses, l3_name.c_str()) <= 0) return;
  confd_ipv6_prefix ipv6 = {};
  if (cdb_get_ipv6_and_plen(cdb_socket, &ipv6, "/config/interface/l3{%s}/ipv6/address[0]/ip",
                            l3_name.c_str()) != CONFD_OK) {
    APP_FATAL_FROM(kFunction, "Failed to retrieve IPv6 address of listening interface (%s): %s",
                   name.c_str(), confd_lasterr());
  }
  const nettypes::IPv6Addr address(ipv6.ip6, nettypes::MACAddr());
  APP_LOG_FROM(kFunction, Category(), app::kDetail, "Read IPv6 %s for interface %s",
               address.to_string().c_str(), name.c_str());
  // A refused deletion reports with the words of a creation.
  DelExtraEntry(kFunction, false, tctx, name, address.to_string(), port);
  LogRemoved(address.to_string(), port);
}
