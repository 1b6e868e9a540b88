#include "netconf/yang_library.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "config/default_mark.h"
#include "netconf/xml.h"

namespace host {

namespace {

/// What libyang calls the set of all models.
constexpr char kSchemaName[] = "complete";

std::string OrEmpty(const char* text) { return text == nullptr ? "" : text; }

/// FNV-1a, 64 bits: short, and the same everywhere.
uint64_t HashOf(const std::string& text) {
  uint64_t hash = 0xcbf29ce484222325U;
  for (const char c : text) hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001b3U;
  return hash;
}

bool IsHidden(const lyd_node* node) {
  if (strcmp(node->schema->name, "module") != 0) return false;
  const lyd_node* ns = FindNamed(lyd_child(node), "namespace");
  return ns != nullptr && strcmp(lyd_get_value(ns), kDefaultNamespace) == 0;
}

/// Takes the models away that ToldModels() does not have.
void RemoveHidden(Tree* tree, lyd_node* siblings) {
  for (lyd_node *node = siblings, *next = nullptr; node != nullptr; node = next) {
    next = node->next;
    if (IsHidden(node)) {
      Remove(tree, node);
    } else {
      RemoveHidden(tree, lyd_child(node));
    }
  }
}

Tree Models(ly_ctx* context) {
  lyd_node* data = nullptr;
  if (ly_ctx_get_yanglib_data(context, &data, "%s", ContentId(context).c_str()) != LY_SUCCESS) {
    throw TakeRefusal(context);
  }
  Tree models(data);
  RemoveHidden(&models, models.get());
  return models;
}

std::string DatastoresXml(const std::vector<std::string>& datastores) {
  std::string list;
  for (const std::string& name : datastores) {
    list +=
        Element("datastore", R"(<name xmlns:ds="urn:ietf:params:xml:ns:yang:ietf-datastores">ds:)" +
                                 name + "</name>" + Element("schema", kSchemaName));
  }
  return R"(<yang-library xmlns="urn:ietf:params:xml:ns:yang:ietf-yang-library">)" + list +
         "</yang-library>";
}

}  // namespace

std::vector<const lys_module*> ToldModels(const ly_ctx* context) {
  std::vector<const lys_module*> models;
  uint32_t index = 0;
  while (const lys_module* module = ly_ctx_get_module_iter(context, &index)) {
    if (!IsDefaultMarkModel(module)) models.push_back(module);
  }
  return models;
}

std::string FeaturesOf(const lys_module* module) {
  std::string list;
  uint32_t index = 0;
  const lysp_feature* feature = nullptr;
  while ((feature = lysp_feature_next(feature, module->parsed, &index)) != nullptr) {
    if ((feature->flags & LYS_FENABLED) == 0) continue;
    list += (list.empty() ? "" : ",") + std::string(feature->name);
  }
  return list;
}

std::string ContentId(const ly_ctx* context) {
  std::string text;
  for (const lys_module* module : ToldModels(context)) {
    text += std::string(module->name) + '@' + OrEmpty(module->revision) + ' ' +
            (module->implemented != 0 ? "implemented " + FeaturesOf(module) : "imported") + '\n';
  }
  std::array<char, 17> id = {};
  snprintf(id.data(), id.size(), "%016llx", static_cast<unsigned long long>(HashOf(text)));
  return id.data();
}

Tree YangLibrary(ly_ctx* context, const std::vector<std::string>& datastores) {
  Tree library = Models(context);
  lyd_node* first = library.release();
  const Tree more = ParseState(context, DatastoresXml(datastores));
  const LY_ERR result = lyd_merge_siblings(&first, more.get(), 0);
  library.reset(first);
  if (result != LY_SUCCESS) throw TakeRefusal(context);
  return library;
}

}  // namespace host
