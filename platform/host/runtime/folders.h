// The folders that the process works with.
#pragma once

#include <string>
#include <vector>

namespace host {

struct Folders {
  std::string configuration;    ///< startup.json, zlog.conf
  std::string state;            ///< running.json, history
  std::string models;           ///< YANG modules
  std::string runtime;          ///< netconf.sock
  std::string standard_models;  ///< The IETF's YANG modules

  std::string StartupFile() const { return configuration + "/startup.json"; }
  std::string RunningFile() const { return state + "/running.json"; }
  std::string HistoryFolder() const { return state + "/history"; }

  std::string NetconfSocket() const { return runtime + "/netconf.sock"; }

  /// From the service manager's CONFIGURATION_DIRECTORY, STATE_DIRECTORY and RUNTIME_DIRECTORY (the
  /// first of several, see systemd.exec(5)), from SNMP_APP_MODELS and SNMP_APP_STANDARD_MODELS;
  /// else /etc/snmp-app, /var/lib/snmp-app, /run/snmp-app, the folder that the models are installed
  /// in and the one where Debian's libyuma-base has the IETF's.
  static Folders OfProcess();
};

// Make a folder with all that lead to it. One that cannot be made is told by who then uses it.

void MakeFolder(const std::string& path);

/// A new one is its owner's alone, who can read what is in it and lock it.
void MakePrivateFolder(const std::string& path);

/// The names in a folder, in alphabetic order. Throws std::system_error with the path when it
/// cannot be read (opendir(3)). The C++ library's own iterator ends the process where it has no
/// memory.
std::vector<std::string> NamesIn(const std::string& folder);

}  // namespace host
