#include "config/parse_refusal.h"

#include <cstdint>
#include <vector>

#include "config/near_name.h"
#include "config/type_words.h"
#include "config/yang_data.h"

namespace host {

namespace {

constexpr uint16_t kElements = LYS_CONTAINER | LYS_LIST | LYS_LEAF | LYS_LEAFLIST;

/// The elements of configurations in `parent` or, where that is null, at the top of `module`.
std::vector<const lysc_node*> ElementsOf(const lysc_node* parent, const lys_module* module) {
  std::vector<const lysc_node*> elements;
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, parent, module->compiled, 0)) != nullptr) {
    const bool is_configuration = (node->flags & LYS_CONFIG_W) != 0;
    if (is_configuration && (node->nodetype & kElements) != 0) elements.push_back(node);
  }
  return elements;
}

const lysc_node* ElementOf(const lysc_node* parent, const lys_module* module,
                           const std::string& name) {
  return lys_find_child(parent, module, name.c_str(), 0, 0, 0);
}

std::vector<std::string> NamesOf(const std::vector<const lysc_node*>& elements) {
  std::vector<std::string> names;
  names.reserve(elements.size());
  for (const lysc_node* element : elements) names.emplace_back(element->name);
  return names;
}

/// The models that have elements.
std::vector<const lys_module*> ModulesOf(const ly_ctx* context) {
  std::vector<const lys_module*> modules;
  uint32_t index = 0;
  while (const lys_module* module = ly_ctx_get_module_iter(context, &index)) {
    const bool has_elements = module->compiled != nullptr && module->compiled->data != nullptr;
    if (has_elements) modules.push_back(module);
  }
  return modules;
}

/// What `text_of` has of each of these models.
template <typename TextOfModule>
std::vector<std::string> TextsOf(const ly_ctx* context, TextOfModule text_of) {
  const std::vector<const lys_module*> modules = ModulesOf(context);
  std::vector<std::string> texts;
  texts.reserve(modules.size());
  for (const lys_module* module : modules) texts.emplace_back(text_of(module));
  return texts;
}

std::string NameInJson(const lys_module* module, const std::string& name) {
  return std::string(module->name) + ":" + name;
}

/// JSON has the model before a name at the top, so that one may be what is missing or wrong.
std::string UnknownTop(const ly_ctx* context, const std::string& name) {
  std::string meant;
  for (const lys_module* module : ModulesOf(context)) {
    const bool is_there = ElementOf(nullptr, module, name) != nullptr;
    const std::string near = is_there ? name : NearName(name, NamesOf(ElementsOf(nullptr, module)));
    if (meant.empty() && !near.empty()) meant = NameInJson(module, near);
  }
  return "unknown element '" + name + "'" + DidYouMean(meant);
}

/// Where the name that begins there ends: before the next step or the keys.
size_t EndOfName(const std::string& path, size_t begin) {
  const size_t end = path.find_first_of("/[", begin);
  return end == std::string::npos ? path.size() : end;
}

/// Behind the keys of a step, whose values are in quotes of either kind.
size_t BehindKeys(const std::string& path, size_t begin) {
  while (begin < path.size() && path[begin] == '[') {
    char quote = '\0';
    for (++begin; begin < path.size() && (quote != '\0' || path[begin] != ']'); ++begin) {
      const char c = path[begin];
      if (quote != '\0') {
        if (c == quote) quote = '\0';
      } else if (c == '"' || c == '\'') {
        quote = c;
      }
    }
    ++begin;
  }
  return begin;
}

/// The element of a data path as libyang has it, null for none.
const lysc_node* ElementAt(const ly_ctx* context, const std::string& path) {
  const lysc_node* element = nullptr;
  for (size_t begin = 0; begin < path.size();) {
    const size_t end = EndOfName(path, begin + 1);
    const std::string step = path.substr(begin + 1, end - begin - 1);
    const size_t colon = step.find(':');
    const lys_module* module =
        colon == std::string::npos
            ? (element == nullptr ? nullptr : element->module)
            : ly_ctx_get_module_implemented(context, step.substr(0, colon).c_str());
    if (module == nullptr) return nullptr;
    const std::string name = step.substr(colon == std::string::npos ? 0 : colon + 1);
    element = ElementOf(element, module, name);
    if (element == nullptr) return nullptr;
    begin = BehindKeys(path, end);
  }
  return element;
}

bool IsTerm(const lysc_node* element) {
  return element != nullptr && (element->nodetype & (LYS_LEAF | LYS_LEAFLIST)) != 0;
}

/// How JSON has an element (RFC 7951).
std::string FormOf(const lysc_node* element) {
  switch (element->nodetype) {
    case LYS_CONTAINER:
      return "an object in braces";
    case LYS_LIST:
      return "objects in square brackets";
    case LYS_LEAFLIST:
      return "values in square brackets";
    default:
      return WordsOf(TypeOf(element), Notation::kJson);
  }
}

bool BeginsWith(const std::string& text, const char* begin) { return text.rfind(begin, 0) == 0; }

/// Of a name that the models do not have; empty for what else is not found.
std::string WordsOfReference(const ly_ctx* context, const std::string& told,
                             const lysc_node* place) {
  const std::string name = QuotedIn(told);
  if (BeginsWith(told, "No module named ")) {
    const auto names = TextsOf(context, [](const lys_module* module) { return module->name; });
    return "there is no model '" + name + "'" + DidYouMean(NearName(name, names));
  }
  if (!BeginsWith(told, "Node ")) return "";
  return place == nullptr ? UnknownTop(context, name) : UnknownElement(place, place->module, name);
}

/// An element by its name alone, at the top of any model where `place` is null.
const lysc_node* ChildOf(const ly_ctx* context, const lysc_node* place, const std::string& name) {
  if (place != nullptr) return ElementOf(place, place->module, name);
  const lysc_node* found = nullptr;
  for (const lys_module* module : ModulesOf(context)) {
    if (found == nullptr) found = ElementOf(nullptr, module, name);
  }
  return found;
}

/// Of a text that is JSON, but not of this element.
std::string WordsOfForm(const ly_ctx* context, const std::string& told, const lysc_node* place) {
  const std::string name = QuotedIn(told);
  if (IsTerm(place)) return "expected " + FormOf(place);
  if (BeginsWith(told, "Top-level JSON object member ")) return UnknownTop(context, name);
  const lysc_node* child = name.empty() ? nullptr : ChildOf(context, place, name);
  return child == nullptr ? "" : name + ": expected " + FormOf(child);
}

/// What is wrong at the place that the error tells; empty where libyang says it best.
std::string WordsOf(const ly_ctx* context, const ly_err_item* error) {
  const std::string told = error->msg == nullptr ? "" : error->msg;
  const lysc_node* place = ElementAt(context, DataPathOf(error));
  switch (error->vecode) {
    case LYVE_REFERENCE:
      return WordsOfReference(context, told, place);
    case LYVE_DATA:
    case LYVE_XPATH:  // What is read as one.
      return IsTerm(place) ? WhyNotTaken(place, error->msg, Notation::kJson) : "";
    case LYVE_SYNTAX_JSON:
      return WordsOfForm(context, told, place);
    default:
      return "";
  }
}

/// "line N, PATH: ", without what the error does not tell.
std::string PlaceOf(const ly_err_item* error) {
  static constexpr char kLine[] = "ine number ";
  const std::string place = error->path == nullptr ? "" : error->path;
  const std::string path = DataPathOf(error);
  const size_t found = place.rfind(kLine);
  std::string text;
  if (found != std::string::npos) {
    const size_t begin = found + sizeof kLine - 1;
    text = "line " + place.substr(begin, place.find_first_not_of("0123456789", begin) - begin);
  }
  if (!path.empty()) text += (text.empty() ? "" : ", ") + path;
  return text.empty() ? text : text + ": ";
}

/// Empty to tell it in libyang's words.
std::string TextOf(const ly_ctx* context, const ly_err_item* error) {
  const std::string words = WordsOf(context, error);
  return words.empty() ? words : PlaceOf(error) + words;
}

}  // namespace

Refusal TakeParseRefusal(ly_ctx* context) {
  const ly_err_item* error = ly_err_first(context);
  const std::string text = error == nullptr ? "" : TextOf(context, error);
  const Refusal refusal = TakeRefusal(context);
  return text.empty() ? refusal : Refusal(refusal.Tag(), refusal.Path(), text, refusal.AppTag());
}

std::string UnknownElement(const lysc_node* parent, const lys_module* module,
                           const std::string& name) {
  return "unknown element '" + name + "'" +
         DidYouMean(NearName(name, NamesOf(ElementsOf(parent, module))));
}

std::string UnknownNamespace(const ly_ctx* context, const std::string& name) {
  const auto names = TextsOf(context, [](const lys_module* module) { return module->ns; });
  return "no model has the namespace '" + name + "'" + DidYouMean(NearName(name, names));
}

}  // namespace host
