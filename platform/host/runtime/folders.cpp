#include "runtime/folders.h"

#include <cstdlib>

namespace host {

namespace {

std::string FirstOf(const char* variable, const char* otherwise) {
  const char* value = getenv(variable);
  if (value == nullptr || *value == '\0') return otherwise;
  const std::string folders = value;
  return folders.substr(0, folders.find(':'));
}

}  // namespace

Folders Folders::OfProcess() {
  return {FirstOf("CONFIGURATION_DIRECTORY", "/etc/snmp-app"),
          FirstOf("STATE_DIRECTORY", "/var/lib/snmp-app"),
          FirstOf("SNMP_APP_MODELS", MODELS_FOLDER), FirstOf("RUNTIME_DIRECTORY", "/run/snmp-app"),
          FirstOf("SNMP_APP_STANDARD_MODELS", "/usr/share/yuma/modules/ietf")};
}

}  // namespace host
