#include "runtime/folders.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

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

void MakeFolder(const std::string& path) {
  std::error_code ignored;
  std::filesystem::create_directories(path, ignored);
}

void MakePrivateFolder(const std::string& path) {
  std::error_code ignored;
  if (std::filesystem::create_directories(path, ignored)) {
    std::filesystem::permissions(path, std::filesystem::perms::owner_all, ignored);
  }
}

}  // namespace host
