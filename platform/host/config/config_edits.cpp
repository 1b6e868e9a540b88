#include "config/config_edits.h"

#include "confd/value_text.h"
#include "config/commit_record.h"

namespace host {

namespace {

/// An instance of an element, with the text of its path.
struct Place {
  const lysc_node* element;
  std::string path;
};

/// The element below `parent`, null for the top, that a change is about; null when there is none.
const lysc_node* ElementOf(const Schema& schema, const common::Change& change,
                           const lysc_node* parent) {
  const lysc_node* node = nullptr;
  uint32_t index = 0;
  const auto is_it = [&] {
    return Schema::Tag(node) == change.tag && schema.NamespaceHash(node) == change.ns;
  };
  if (parent != nullptr) {
    while ((node = lys_getnext(node, parent, nullptr, 0)) != nullptr && !is_it()) {
    }
    return node;
  }
  while (const lys_module* module = ly_ctx_get_module_iter(schema.Context(), &index)) {
    if (module->compiled == nullptr) continue;
    while ((node = lys_getnext(node, nullptr, module->compiled, 0)) != nullptr) {
      if (is_it()) return node;
    }
  }
  return nullptr;
}

std::string Quoted(const std::string& text) {
  const char quote = text.find('\'') == std::string::npos ? '\'' : '"';
  return quote + text + quote;
}

std::string Keys(const common::Change& change, const lysc_node* list) {
  std::string text;
  const lysc_node* key = lysc_node_child(list);
  for (const common::OwnedValue& value : change.keys) {
    text += std::string("[") + key->name + "=" + Quoted(common::ValueText(value.Value())) + "]";
    key = key->next;
  }
  return text;
}

Place PlaceOf(const common::Change& change, const lysc_node* element, const Place& parent) {
  const bool is_other_module =
      parent.element == nullptr || parent.element->module != element->module;
  const std::string module = is_other_module ? std::string(element->module->name) + ":" : "";
  return {element, parent.path + "/" + module + element->name + Keys(change, element)};
}

const char* OperationOf(const common::Change& change) {
  switch (change.op) {
    case MOP_CREATED:
      return "create";
    case MOP_DELETED:
      return "delete";
    case MOP_VALUE_SET:
      return change.old_value.IsSet() ? "replace" : "create";
    default:
      return "merge";  // It has moved.
  }
}

class Edits {
 public:
  explicit Edits(const Schema& schema) : schema_(schema) {}

  void Add(const std::vector<common::Change>& changes, const Place& parent) {
    for (const common::Change& change : changes) {
      if (edits_.size() > kMostEdits) return;
      const lysc_node* element = ElementOf(schema_, change, parent.element);
      if (element != nullptr) AddOne(change, element, parent);
    }
  }

  std::vector<ConfigEdit> Take() { return std::move(edits_); }

 private:
  void AddOne(const common::Change& change, const lysc_node* element, const Place& parent) {
    if (element->nodetype == LYS_LEAFLIST || IsSecretList(element)) {
      AddMerge(parent.path);
      return;
    }
    Place place = PlaceOf(change, element, parent);
    if (change.op == MOP_MODIFIED && !change.children.empty()) {
      Add(change.children, place);
    } else {
      edits_.push_back({std::move(place.path), OperationOf(change)});
    }
  }

  /// Rows of one list are one change of what it stands in.
  void AddMerge(const std::string& path) {
    if (path.empty() || (!edits_.empty() && edits_.back().path == path)) return;
    edits_.push_back({path, "merge"});
  }

  const Schema& schema_;
  std::vector<ConfigEdit> edits_;
};

std::vector<ConfigEdit> Tops(const Schema& schema, const std::vector<common::Change>& changes) {
  std::vector<ConfigEdit> tops;
  for (const common::Change& change : changes) {
    const lysc_node* element = ElementOf(schema, change, nullptr);
    if (element == nullptr || element->nodetype != LYS_CONTAINER) continue;
    tops.push_back({PlaceOf(change, element, {nullptr, ""}).path, "merge"});
  }
  return tops;
}

}  // namespace

std::vector<ConfigEdit> EditsOf(const Schema& schema, const std::vector<common::Change>& changes) {
  Edits edits(schema);
  edits.Add(changes, {nullptr, ""});
  std::vector<ConfigEdit> all = edits.Take();
  return all.size() <= kMostEdits ? all : Tops(schema, changes);
}

}  // namespace host
