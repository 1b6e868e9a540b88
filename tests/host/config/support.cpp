#include "support.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "confd/value_text.h"

namespace host::test {

namespace fs = std::filesystem;

TestFolder::TestFolder() : path_(fs::temp_directory_path() / "host_config_test.XXXXXX") {
  if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no folder for the test");
}

TestFolder::~TestFolder() { fs::remove_all(path_); }

std::string TestFolder::Write(const std::string& name, const std::string& text) const {
  std::ofstream(Path(name), std::ios::binary) << text;
  return Path(name);
}

std::vector<std::string> TestFolder::Names() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(path_)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

const host::Schema& DeviceModels() {
  static const host::Schema models(MODELS_FOLDER);
  return models;
}

const host::Schema& ShapeModels() {
  static const host::Schema models(TEST_FOLDER "/models");
  return models;
}

host::Tree Read(const host::Schema& models, const std::string& json) {
  host::Tree tree = host::ParseTree(models.Context(), json);
  host::ValidateTree(models.Context(), &tree);
  return tree;
}

std::string AgentJson(const std::string& settings) {
  return R"({"confd_dyncfg:confdConfig": {"snmpAgent": {)" + settings + "}}}";
}

std::string CommunityJson(const std::string& rows) {
  return R"({"SNMP-COMMUNITY-MIB:SNMP-COMMUNITY-MIB": {"snmpCommunityTable": )"
         R"({"snmpCommunityEntry": [)" +
         rows + "]}}}";
}

std::string CommunityRow(const std::string& index, const std::string& security_name) {
  return R"({"snmpCommunityIndex": ")" + index + R"(", "snmpCommunityName": "public", )" +
         R"("snmpCommunitySecurityName": ")" + security_name + "\"}";
}

std::vector<std::string> Describe(std::vector<common::Change>& changes, const std::string& path,
                                  confd_iter_ret next, int32_t flags) {
  std::vector<std::string> lines;
  const auto text = [](const confd_value_t* value) {
    return value == nullptr ? "" : common::ValueText(*value);
  };
  const auto note = [&](confd_hkeypath_t* kp, confd_iter_op op, confd_value_t* old_value,
                        confd_value_t* new_value) {
    static const char* const kOperations[] = {"nothing", "created", "deleted", "modified", "set"};
    lines.push_back(std::string(kOperations[op]) + " " + common::KeyPathText(*kp) + " " +
                    text(old_value) + " -> " + text(new_value));
    return next;
  };
  common::Visit(changes, {0, 0, path.c_str(), flags, note});
  return lines;
}

}  // namespace host::test
