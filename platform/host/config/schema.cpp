#include "config/schema.h"

#include <libyang/plugins_exts.h>

#include <cstring>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "confd/tag_table.h"
#include "config/default_mark.h"
#include "config/expression_limit.h"
#include "config/netconf_features.h"
#include "config/yang_data.h"
#include "runtime/folders.h"

namespace host {

namespace {

constexpr char kExtensions[] = "snmp-app-platform";
constexpr std::string_view kEnding = ".yang";

/// The names of the features as libyang wants them.
std::vector<const char*> FeatureNames() {
  std::vector<const char*> names;
  for (const NetconfFeature& feature : kNetconfFeatures) names.push_back(feature.name);
  names.push_back(nullptr);
  return names;
}

/// The names of the model files of a folder in alphabetic order.
std::vector<std::string> FindModels(const std::string& folder) {
  std::vector<std::string> files;
  for (std::string& name : NamesIn(folder)) {
    const bool is_model = name.size() > kEnding.size() &&
                          name.compare(name.size() - kEnding.size(), name.npos, kEnding) == 0;
    if (is_model) files.push_back(std::move(name));
  }
  if (files.empty()) throw std::runtime_error("folder " + folder + " has no models");
  return files;
}

ly_ctx* NewContext(const std::string& folder, uint16_t more_options) {
  // What libyang has to say is taken from the context and told with the file that it is about.
  ly_log_options(LY_LOSTORE);
  ly_log_level(LY_LLERR);
  ly_ctx* context = nullptr;
  const auto options = static_cast<uint16_t>(LY_CTX_DISABLE_SEARCHDIR_CWD | more_options);
  if (ly_ctx_new(folder.c_str(), options, &context) != LY_SUCCESS) {
    throw std::runtime_error("libyang cannot use the models' folder " + folder);
  }
  return context;
}

/// Gives every extension that models use of themselves a plugin, one that does nothing: libyang
/// 2.1.30 looks for the annotation that a piece of data names among all of them, and reads the
/// plugin of each without asking whether there is one.
void GivePlugins(ly_ctx* context) {
  static lyplg_ext none = {};
  none.id = "none";
  uint32_t index = 0;
  while (const lys_module* module = ly_ctx_get_module_iter(context, &index)) {
    if (module->compiled == nullptr) continue;
    const lysc_ext_instance* uses = module->compiled->exts;
    LY_ARRAY_COUNT_TYPE i = 0;
    LY_ARRAY_FOR(uses, i) {
      if (uses[i].def->plugin == nullptr) uses[i].def->plugin = &none;
    }
  }
}

uint32_t ParseHash(const std::string& text) {
  if (text.size() != 10 || text.compare(0, 2, "0x") != 0 ||
      text.find_first_not_of("0123456789abcdefABCDEF", 2) != std::string::npos) {
    throw std::runtime_error("\"" + text + "\" is no hash such as 0x0123ABCD");
  }
  return static_cast<uint32_t>(std::stoul(text, nullptr, 16));
}

/// The use of one of our extensions, or null. `extensions` is a sized array of libyang's.
const lysc_ext_instance* FindUse(const lysc_ext_instance* extensions, const char* name) {
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(extensions, i) {
    const lysc_ext* definition = extensions[i].def;
    if (strcmp(definition->name, name) == 0 && strcmp(definition->module->name, kExtensions) == 0) {
      return &extensions[i];
    }
  }
  return nullptr;
}

bool HasExtension(const lysc_ext_instance* extensions, const char* name) {
  return FindUse(extensions, name) != nullptr;
}

/// The argument of one of our extensions, or null.
const char* FindExtension(const lysc_ext_instance* extensions, const char* name) {
  const lysc_ext_instance* use = FindUse(extensions, name);
  return use == nullptr ? nullptr : use->argument;
}

ValueType ParseValueType(const char* name) {
  if (name == nullptr) return ValueType::kAsTyped;
  if (strcmp(name, "ipv4-prefix") == 0) return ValueType::kIpv4Prefix;
  if (strcmp(name, "ipv6-prefix") == 0) return ValueType::kIpv6Prefix;
  throw std::runtime_error(std::string("there is no value type ") + name);
}

std::string ElementPath(const lysc_node* node) {
  std::string path;
  for (; node != nullptr; node = lysc_data_parent(node)) {
    path.insert(0, std::string("/") + node->name);
  }
  return path;
}

/// Calls `operation` with every data element of a module, or with all those below `parent`.
template <typename Operation>
void ForEachElement(const lysc_node* parent, const lysc_module* module, Operation operation) {
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, parent, module, 0)) != nullptr) {
    operation(node);
    if ((node->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0) {
      ForEachElement(node, module, operation);
    }
  }
}

/// The child of `parent`, or top element of `module`, of that name; `owner` null means any model's.
const lysc_node* FindElement(const lysc_node* parent, const lysc_module* module,
                             const lys_module* owner, const std::string& name) {
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, parent, module, 0)) != nullptr) {
    if (name == node->name && (owner == nullptr || owner == node->module)) return node;
  }
  return nullptr;
}

size_t CountKeys(const lysc_node* list) {
  size_t count = 0;
  for (const lysc_node* child = lysc_node_child(list); child != nullptr && lysc_is_key(child);
       child = child->next) {
    ++count;
  }
  return count;
}

[[noreturn]] void Refuse(const common::PathStep& step, const std::string& reason) {
  throw std::invalid_argument("element \"" + step.name + "\" " + reason);
}

[[noreturn]] void RefuseModel(const std::string& folder, const std::string& file,
                              const std::string& reason) {
  throw std::runtime_error("model " + folder + "/" + file + ": " + reason);
}

/// Checks that keys and index of a step go with its element.
void CheckEntry(const common::PathStep& step, const lysc_node* node, bool is_last) {
  const bool names_entry = !step.keys.empty() || step.index.has_value();
  if ((node->nodetype & (LYS_LIST | LYS_LEAFLIST)) == 0) {
    if (names_entry) Refuse(step, "is no list and has no entries");
    return;
  }
  if (!names_entry && !is_last) Refuse(step, "is a list and needs a key or an index");
  const size_t keys = node->nodetype == LYS_LEAFLIST ? 1 : CountKeys(node);
  if (!step.keys.empty() && step.keys.size() != keys) {
    Refuse(step,
           "has " + std::to_string(keys) + " key(s), not " + std::to_string(step.keys.size()));
  }
}

}  // namespace

Schema::Schema(const std::string& folder, const std::string& standard_folder) {
  const std::vector<std::string> files = FindModels(folder);
  const bool has_standard = !standard_folder.empty();
  context_.reset(NewContext(folder, has_standard ? 0 : LY_CTX_NO_YANGLIBRARY));
  if (has_standard) LoadStandardModels(standard_folder);
  for (const std::string& file : files) {
    try {
      LoadModule(file);
    } catch (const std::runtime_error& error) {
      RefuseModel(folder, file, error.what());
    }
  }
  GivePlugins(context_.get());
  LimitExpressions(context_.get());
  // The models' own tags first: a computed one must not take the place of one that is written.
  for (const lys_module* module : modules_) DefineTags(module);
  for (const lys_module* module : modules_) CollectFacts(module);
}

void Schema::LoadStandardModels(const std::string& folder) {
  if (ly_ctx_set_searchdir(context_.get(), folder.c_str()) != LY_SUCCESS) {
    throw std::runtime_error("libyang cannot use the folder " + folder);
  }
  std::vector<const char*> features = FeatureNames();
  for (const char* name : {"ietf-netconf", "ietf-netconf-acm", "ietf-netconf-monitoring",
                           "ietf-netconf-with-defaults"}) {
    const bool is_netconf = strcmp(name, "ietf-netconf") == 0;
    const lys_module* module =
        ly_ctx_load_module(context_.get(), name, nullptr, is_netconf ? features.data() : nullptr);
    if (module == nullptr) RefuseModel(folder, name, TakeErrors(context_.get()));
    // It has configuration, whose changes have names.
    if (strcmp(name, "ietf-netconf-acm") == 0) AddModule(module);
  }
  DefineDefaultMark(context_.get());
  LoadEventModels(folder);
}

/// They are no part of an RFC, but what others have made of the one that came before YANG.
void Schema::LoadEventModels(const std::string& folder) {
  for (const char* beside : {"/../ietf-derived", "/../netconfcentral"}) {
    ly_ctx_set_searchdir(context_.get(), (folder + beside).c_str());
  }
  for (const char* name : {"notifications", "nc-notifications", "ietf-netconf-notifications"}) {
    if (ly_ctx_load_module(context_.get(), name, nullptr, nullptr) == nullptr) break;
  }
  ly_err_clean(context_.get(), nullptr);
}

void Schema::LoadModule(const std::string& file) {
  const std::string stem = file.substr(0, file.rfind('.'));
  const size_t at = stem.find('@');
  if (at == std::string::npos) throw std::runtime_error("its name is not module@revision.yang");
  const lys_module* module = ly_ctx_load_module(context_.get(), stem.substr(0, at).c_str(),
                                                stem.c_str() + at + 1, nullptr);
  if (module == nullptr) throw std::runtime_error(TakeErrors(context_.get()));
  AddModule(module);
  const char* hash = FindExtension(module->compiled->exts, "namespace-hash");
  namespaces_[module] = hash == nullptr ? 0 : ParseHash(hash);
}

void Schema::AddModule(const lys_module* module) {
  modules_.push_back(module);
  by_prefix_[module->prefix] = module;
  by_prefix_[module->name] = module;
}

void Schema::DefineTags(const lys_module* module) {
  ForEachElement(nullptr, module->compiled, [module](const lysc_node* node) {
    const char* tag = FindExtension(node->exts, "tag");
    if (tag == nullptr) return;
    try {
      common::TagTable::Global().Define(node->name, ParseHash(tag));
    } catch (const std::runtime_error& error) {
      throw std::runtime_error(std::string("model ") + module->name + ", element " + node->name +
                               ": " + error.what());
    }
  });
}

void Schema::CollectFacts(const lys_module* module) {
  ForEachElement(nullptr, module->compiled, [this](const lysc_node* node) {
    Facts& facts = facts_.emplace_back();
    facts.tag = common::TagTable::Global().Hash(node->name);
    facts.system_written = HasExtension(node->exts, "system-written");
    facts.value_type = ParseValueType(FindExtension(node->exts, "value-type"));
    // libyang leaves this pointer to its user.
    const_cast<lysc_node*>(node)->priv = &facts;
    CollectCallpoint(node);
  });
}

void Schema::CollectCallpoint(const lysc_node* node) {
  const char* name = FindExtension(node->exts, "callpoint");
  if (name == nullptr) return;
  if (node->nodetype != LYS_LIST) {
    throw std::runtime_error(std::string("callpoint ") + name + " is at " + node->name +
                             ", which is no list");
  }
  callpoints_.push_back({name, ElementPath(node), node});
}

/// The models of network management have none.
const Schema::Facts& Schema::FactsOf(const lysc_node* node) {
  static const Facts kNone;
  return node->priv == nullptr ? kNone : *static_cast<const Facts*>(node->priv);
}

uint32_t Schema::Tag(const lysc_node* node) { return FactsOf(node).tag; }

bool Schema::IsSystemWritten(const lysc_node* node) { return FactsOf(node).system_written; }

ValueType Schema::TypeOfValue(const lysc_node* node) { return FactsOf(node).value_type; }

const ModelCallpoint* Schema::CallpointAbove(const lysc_node* node) const {
  for (; node != nullptr; node = lysc_data_parent(node)) {
    for (const ModelCallpoint& callpoint : callpoints_) {
      if (callpoint.list == node) return &callpoint;
    }
  }
  return nullptr;
}

uint32_t Schema::NamespaceHash(const lysc_node* node) const {
  const auto found = namespaces_.find(node->module);
  return found == namespaces_.end() ? 0 : found->second;
}

SchemaPath Schema::Resolve(const std::vector<common::PathStep>& steps) const {
  SchemaPath nodes;
  nodes.reserve(steps.size());
  for (const common::PathStep& step : steps) {
    const lysc_node* node = nodes.empty() ? FindTop(step) : FindChild(nodes.back(), step);
    if (node == nullptr) Refuse(step, "is not in the models");
    CheckEntry(step, node, &step == &steps.back());
    nodes.push_back(node);
  }
  return nodes;
}

const lys_module* Schema::FindModule(const common::PathStep& step) const {
  if (step.prefix.empty()) return nullptr;
  const auto found = by_prefix_.find(step.prefix);
  if (found == by_prefix_.end()) Refuse(step, "has the unknown prefix \"" + step.prefix + "\"");
  return found->second;
}

const lysc_node* Schema::FindTop(const common::PathStep& step) const {
  const lys_module* owner = FindModule(step);
  if (owner != nullptr) return FindElement(nullptr, owner->compiled, owner, step.name);
  for (const lys_module* module : modules_) {
    const lysc_node* node = FindElement(nullptr, module->compiled, module, step.name);
    if (node != nullptr) return node;
  }
  return nullptr;
}

const lysc_node* Schema::FindChild(const lysc_node* parent, const common::PathStep& step) const {
  if ((parent->nodetype & (LYS_CONTAINER | LYS_LIST)) == 0) return nullptr;
  return FindElement(parent, nullptr, FindModule(step), step.name);
}

}  // namespace host
