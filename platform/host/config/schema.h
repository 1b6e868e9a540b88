// The models that configuration is written in.
#pragma once

#include <libyang/libyang.h>

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "confd/path_text.h"

namespace host {

/// The schema elements of a path, one for each of its steps.
using SchemaPath = std::vector<const lysc_node*>;

/// How programs read a leaf's text, where its type alone does not tell.
enum class ValueType { kAsTyped, kIpv4Prefix, kIpv6Prefix };

/// A list whose changes are told to who registered the name.
struct ModelCallpoint {
  std::string name;
  std::string path;  ///< Of the list, "/a/b".
  const lysc_node* list;
};

class Schema {
 public:
  /// Loads every model of `folder`, files with the names "module@revision.yang", and gives the
  /// names of all their elements a tag in common::TagTable::Global(): the one that the model
  /// writes at the element, else a computed one.
  /// Throws std::runtime_error that names the folder, model or element: no models there, one that
  /// cannot be read, that libyang refuses or that needs a missing one, a tag that is no number, a
  /// clash of tags, a callpoint that is at no list, a value type that there is not.
  /// `standard_folder` has the IETF's models of network management, which are loaded too, but have
  /// no tags but for the one of access control; empty for none. Those of notifications may lie
  /// beside it, as Debian has them, or be missing.
  explicit Schema(const std::string& folder, const std::string& standard_folder = "");

  Schema(const Schema&) = delete;
  Schema& operator=(const Schema&) = delete;

  /// For libyang's calls. Every data tree made with it must be freed before the schema.
  ly_ctx* Context() const { return context_.get(); }

  /// Finds the elements that `steps` name. A step's prefix is the prefix or the name of a module;
  /// without one, the first step means any model that has such an element at its top, and every
  /// other step any child of that name.
  /// Throws std::invalid_argument when a step has no element, or keys or an index that do not go
  /// with its element.
  SchemaPath Resolve(const std::vector<common::PathStep>& steps) const;

  /// The tag of an element of these models.
  static uint32_t Tag(const lysc_node* node);

  /// Whether the model keeps operators from writing a leaf.
  static bool IsSystemWritten(const lysc_node* node);
  static ValueType TypeOfValue(const lysc_node* node);

  const std::vector<ModelCallpoint>& Callpoints() const { return callpoints_; }

  /// The callpoint at an element or above it, or null.
  const ModelCallpoint* CallpointAbove(const lysc_node* node) const;

  /// The namespace hash that the element's model declares, 0 when it declares none.
  uint32_t NamespaceHash(const lysc_node* node) const;

 private:
  struct FreeContext {
    void operator()(ly_ctx* context) const { ly_ctx_destroy(context); }
  };

  /// What a model says of an element in our extensions.
  struct Facts {
    uint32_t tag = 0;
    bool system_written = false;
    ValueType value_type = ValueType::kAsTyped;
  };

  void LoadStandardModels(const std::string& folder);
  void LoadEventModels(const std::string& folder);
  void LoadModule(const std::string& file);
  void AddModule(const lys_module* module);
  static void DefineTags(const lys_module* module);
  void CollectFacts(const lys_module* module);
  void CollectCallpoint(const lysc_node* node);
  static const Facts& FactsOf(const lysc_node* node);
  const lys_module* FindModule(const common::PathStep& step) const;
  const lysc_node* FindTop(const common::PathStep& step) const;
  const lysc_node* FindChild(const lysc_node* parent, const common::PathStep& step) const;

  std::unique_ptr<ly_ctx, FreeContext> context_;
  std::vector<const lys_module*> modules_;              ///< The models of configuration.
  std::map<std::string, const lys_module*> by_prefix_;  ///< By prefix and by name.
  std::map<const lys_module*, uint32_t> namespaces_;
  std::vector<ModelCallpoint> callpoints_;
  std::deque<Facts> facts_;  ///< One for each element, which points to it.
};

}  // namespace host
