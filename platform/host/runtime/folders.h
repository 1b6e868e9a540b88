// The folders that the process works with.
#pragma once

#include <string>

namespace host {

struct Folders {
  std::string configuration;  ///< startup.json, zlog.conf
  std::string state;          ///< running.json
  std::string models;         ///< YANG modules

  std::string StartupFile() const { return configuration + "/startup.json"; }
  std::string RunningFile() const { return state + "/running.json"; }

  /// From the service manager's CONFIGURATION_DIRECTORY and STATE_DIRECTORY (the first of several,
  /// see systemd.exec(5)) and from SNMP_APP_MODELS; else /etc/snmp-app, /var/lib/snmp-app and the
  /// folder that the models are installed in.
  static Folders OfProcess();
};

}  // namespace host
