#include "access_support.h"

#include <stdexcept>

#include "config/tree.h"

namespace host::test {

std::string NacmJson(const std::string& rule_lists, const std::string& leaves) {
  return R"({"ietf-netconf-acm:nacm": {)" + leaves + R"("rule-list": [)" + rule_lists + "]}}";
}

std::string RuleListJson(const std::string& group, const std::string& rules) {
  return R"({"name": "of )" + group + R"(", "group": [")" + group + R"("], "rule": [)" + rules +
         "]}";
}

std::string RuleJson(const std::string& about, const std::string& action) {
  static int number = 0;
  return R"({"name": ")" + std::to_string(++number) + R"(", )" + about + R"("action": ")" + action +
         R"("})";
}

host::AccessPolicy PolicyOfJson(const std::string& json) {
  const host::Schema& models = NetconfDeviceModels();
  host::Tree tree = host::ParseTree(models.Context(), json);
  host::ValidateTree(models.Context(), &tree);
  return host::PolicyOf(models, tree.get());
}

const host::Schema& OrderModels() {
  static const host::Schema models(NETCONF_MODELS, kStandardFolder);
  return models;
}

const lyd_node* NodeAt(const host::Tree& tree, const std::string& path) {
  lyd_node* found = nullptr;
  if (lyd_find_path(tree.get(), path.c_str(), 0, &found) != LY_SUCCESS) {
    throw std::runtime_error("there is no " + path);
  }
  return found;
}

}  // namespace host::test
