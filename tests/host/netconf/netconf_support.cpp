#include "netconf_support.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>

namespace host::test {

void NetconfTest::SetUp() {
  if (!std::filesystem::exists(kStandardFolder)) {
    GTEST_SKIP() << "the IETF's models are not installed in " << kStandardFolder;
  }
}

const host::Schema& NetconfDeviceModels() {
  static const host::Schema models(MODELS_FOLDER, kStandardFolder);
  return models;
}

const host::Schema& NetconfShapeModels() {
  static const host::Schema models(TEST_FOLDER "/models", kStandardFolder);
  return models;
}

std::string Rpc(const std::string& content, const std::string& attributes) {
  return std::string("<rpc xmlns=\"") + host::kNetconfNamespace + "\" xmlns:nc=\"" +
         host::kNetconfNamespace + "\" xmlns:yang=\"urn:ietf:params:xml:ns:yang:1\" " + attributes +
         ">" + content + "</rpc>";
}

Content Content::OfConfig(const host::Schema& models, const std::string& xml) {
  return {models,
          Rpc("<edit-config><target><running/></target><config>" + xml + "</config></edit-config>"),
          "config"};
}

Content Content::OfFilter(const host::Schema& models, const std::string& xml) {
  return {models, Rpc("<get><filter>" + xml + "</filter></get>"), "filter"};
}

Content::Content(const host::Schema& models, const std::string& request, const char* element)
    : envelope_(models.Context(), request) {
  for (const lyd_node* child = lyd_child(envelope_.Operation()); child != nullptr;
       child = child->next) {
    if (strcmp(child->schema->name, element) != 0) continue;
    const auto* any = reinterpret_cast<const lyd_node_any*>(child);
    if (any->value_type == LYD_ANYDATA_DATATREE) nodes_ = any->value.tree;
    return;
  }
  throw std::runtime_error(std::string("the request has no element ") + element);
}

std::string Xml(const host::Tree& tree) {
  char* text = nullptr;
  if (lyd_print_mem(&text, tree.get(), LYD_XML, LYD_PRINT_WITHSIBLINGS | LYD_PRINT_SHRINK) !=
      LY_SUCCESS) {
    throw std::runtime_error("printing failed");
  }
  const std::unique_ptr<char, decltype(&free)> owned(text, free);
  return text == nullptr ? "" : text;
}

std::string Between(const std::string& text, const std::string& begin, const std::string& end) {
  const size_t found = text.find(begin);
  if (found == std::string::npos) return "";
  const size_t first = found + begin.size();
  const size_t last = text.find(end, first);
  return last == std::string::npos ? "" : text.substr(first, last - first);
}

std::string TextOf(const std::string& xml, const std::string& element) {
  const std::string rest = Between(xml, "<" + element, "</" + element + ">");
  return rest.substr(rest.find('>') + 1);
}

bool IsWellFormed(const host::Schema& models, std::string xml) {
  // libyang does not have the prefix that every document knows.
  const std::string language = R"( xml:lang="en")";
  const size_t found = xml.find(language);
  if (found != std::string::npos) xml.erase(found, language.size());
  lyd_node* parsed = nullptr;
  const LY_ERR result = lyd_parse_data_mem(models.Context(), xml.c_str(), LYD_XML,
                                           LYD_PARSE_ONLY | LYD_PARSE_OPAQ, 0, &parsed);
  const host::Tree tree(parsed);
  ly_err_clean(models.Context(), nullptr);
  return result == LY_SUCCESS && parsed != nullptr && parsed->next == nullptr;
}

}  // namespace host::test
