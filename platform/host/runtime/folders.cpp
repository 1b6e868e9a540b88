#include "runtime/folders.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>

namespace host {

namespace {

std::string FirstOf(const char* variable, const char* otherwise) {
  const char* value = getenv(variable);
  if (value == nullptr || *value == '\0') return otherwise;
  const std::string folders = value;
  return folders.substr(0, folders.find(':'));
}

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

}  // namespace

std::vector<std::string> NamesIn(const std::string& folder) {
  const std::unique_ptr<DIR, CloseFolder> opened(opendir(folder.c_str()));
  std::vector<std::string> names;
  errno = opened == nullptr ? errno : 0;
  while (errno == 0) {
    const dirent* const entry = readdir(opened.get());
    if (entry == nullptr) break;
    names.emplace_back(entry->d_name);
    errno = 0;
  }
  if (errno != 0) throw std::system_error(errno, std::generic_category(), "folder " + folder);
  std::sort(names.begin(), names.end());
  return names;
}

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
