#include "config/model_path.h"

#include <stdexcept>

#include "confd/tag_table.h"
#include "confd/value_text.h"
#include "config/call_refused.h"

namespace host {

namespace {

SchemaPath Resolve(const Schema& schema, const ModelPath& path) {
  try {
    return schema.Resolve(path.steps);
  } catch (const std::invalid_argument& error) {
    throw std::invalid_argument("path \"" + path.text + "\": " + error.what());
  }
}

std::string Quoted(const std::string& text) {
  if (text.find('"') == std::string::npos) return '"' + text + '"';
  if (text.find('\'') == std::string::npos) return '\'' + text + '\'';
  throw CallRefused(CONFD_ERR_BADTYPE, "a key with both kinds of quotes names no entry: " + text);
}

std::string Predicates(const lysc_node* element, const std::vector<std::string>& keys) {
  if (element->nodetype == LYS_LEAFLIST) {
    return keys.empty() ? "" : "[.=" + Quoted(keys.front()) + "]";
  }
  std::string predicates;
  const lysc_node* key = lysc_node_child(element);
  for (const std::string& text : keys) {
    predicates += std::string("[") + key->name + "=" + Quoted(text) + "]";
    key = key->next;
  }
  return predicates;
}

}  // namespace

ModelPath ParseModelPath(const Schema& schema, const std::string& text) {
  ModelPath path = {text, common::ParsePath(text), {}};
  path.elements = Resolve(schema, path);
  return path;
}

ModelPath ModelPathOf(const Schema& schema, const confd_hkeypath_t& path) {
  ModelPath result = {common::KeyPathText(path), {}, {}};
  for (int level = path.len - 1; level >= 0; --level) {
    const confd_value_t* values = path.v[level];
    if (values[0].type == C_XMLTAG) {
      const std::string* name = common::TagTable::Global().Name(values[0].val.xmltag.tag);
      result.steps.push_back({"", name == nullptr ? "" : *name, {}, {}});
      continue;
    }
    for (int i = 0; values[i].type != C_NOEXISTS; ++i) {
      result.steps.back().keys.push_back(common::ValueText(values[i]));
    }
  }
  result.elements = Resolve(schema, result);
  return result;
}

std::string DataPath(const ModelPath& path) {
  std::string text;
  const lys_module* module = nullptr;
  for (size_t i = 0; i < path.steps.size(); ++i) {
    const lysc_node* element = path.elements[i];
    if (path.steps[i].index.has_value()) {
      throw std::invalid_argument("path \"" + path.text + "\": a write needs keys, not positions");
    }
    text += "/";
    if (element->module != module) text += std::string(element->module->name) + ":";
    text += element->name + Predicates(element, path.steps[i].keys);
    module = element->module;
  }
  return text;
}

}  // namespace host
