#include "snmp/agent_library.h"

#include <sys/utsname.h>

#include <cassert>
#include <exception>
#include <string>
#include <utility>

#include "snmp/netsnmp.h"

extern "C" {

/// Modules of the library that have no public header.
void init_system_mib(void);
void init_sysORTable(void);
void init_snmp_mib(void);

}  // extern "C"

namespace host {

namespace {

constexpr char kName[] = "snmp-app";

/// Longest sysDescr that the library takes.
constexpr size_t kDescriptionLimit = 255;

/// Of the one object. No argument of the callback, for the library would free that when it goes
/// down.
SnmpLog* the_log = nullptr;

int TakeLogText(int /*major*/, int /*minor*/, void* server_argument, void* /*client_argument*/) {
  const auto* message = static_cast<snmp_log_message*>(server_argument);
  // No exception may pass the library, which is in the midst of something.
  try {
    std::string text = message->msg;
    while (!text.empty() && text.back() == '\n') text.pop_back();
    (*the_log)(message->priority, text);
  } catch (const std::exception&) {
    return SNMPERR_GENERR;
  }
  return SNMPERR_SUCCESS;
}

/// The library logs nowhere but here; it would write on the standard error output without a
/// handler.
void DirectLog() {
  snmp_disable_log();
  snmp_enable_calllog();
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, TakeLogText, nullptr);
}

/// Neither configuration nor state comes from files, and alarms are the loop's.
void SetOptions() {
  for (const int option : {NETSNMP_DS_LIB_DONT_READ_CONFIGS, NETSNMP_DS_LIB_HAVE_READ_CONFIG,
                           NETSNMP_DS_LIB_DONT_PERSIST_STATE, NETSNMP_DS_LIB_DISABLE_V3,
                           NETSNMP_DS_LIB_ALARM_DONT_USE_SIG}) {
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, option, 1);
  }
}

/// Keeps the library from bringing up modules by itself, among them its own access control: with a
/// list of modules, only those that it names come up. The list outlives the library's state.
void KeepOffModules() {
  static const bool is_done = [] {
    std::string none = "none";
    add_to_init_list(none.data());
    return true;
  }();
  static_cast<void>(is_done);
}

std::string SystemDescription() {
  utsname system = {};
  uname(&system);
  const std::string text = std::string("snmp-app SNMP agent, ") + system.sysname + " " +
                           system.nodename + " " + system.release + " " + system.version + " " +
                           system.machine;
  return text.substr(0, kDescriptionLimit);
}

/// Sets values of the system group. The services are those of a host (layers 4 and 7); contact and
/// location are not known.
void DescribeSystem() {
  for (std::string line : {"sysdescr " + SystemDescription(), std::string("sysservices 72"),
                           std::string("syscontact "), std::string("syslocation ")}) {
    netsnmp_config(line.data());
  }
}

/// The library's whole start, init_snmp(), would look for certificates in folders and make one,
/// read MIB texts and set the locale of the process, even with the options above. This is the part
/// of it that serves requests.
void BringUp() {
  KeepOffModules();
  init_agent(kName);
  snmp_init_statistics();
  init_system_mib();
  init_sysORTable();
  init_snmp_mib();
}

}  // namespace

AgentLibrary::AgentLibrary(SnmpLog log) : log_(std::move(log)) {
  assert(the_log == nullptr);
  if (!log_) {
    log_ = [](int, const std::string&) {};
  }
  the_log = &log_;
  DirectLog();
  SetOptions();
  BringUp();
  DescribeSystem();
}

AgentLibrary::~AgentLibrary() {
  snmp_shutdown(kName);
  shutdown_agent();
  the_log = nullptr;
}

}  // namespace host
