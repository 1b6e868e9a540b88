#include "netconf/access_path.h"

#include <algorithm>
#include <stdexcept>

#include "config/yang_data.h"

namespace host {

namespace {

/// The parts of a text that begin with `begin` outside of quotes and brackets.
std::vector<std::string> Split(const std::string& text, char begin) {
  std::vector<std::string> parts;
  char quote = '\0';
  int depth = 0;
  for (const char c : text) {
    if (quote == '\0' && depth == 0 && c == begin) parts.emplace_back();
    if (quote != '\0') {
      if (c == quote) quote = '\0';
    } else if (c == '\'' || c == '"') {
      quote = c;
    } else if (c == '[') {
      ++depth;
    } else if (c == ']') {
      --depth;
    }
    if (parts.empty()) parts.emplace_back();
    parts.back() += c;
  }
  return parts;
}

std::string Unquoted(const std::string& text) {
  const bool is_quoted = text.size() > 1 && (text[0] == '\'' || text[0] == '"');
  return is_quoted ? text.substr(1, text.size() - 2) : text;
}

/// The entry of that element which an instance is in, or is; null when there is none.
const lyd_node* EntryAbove(const lyd_node* instance, const lysc_node* element) {
  while (instance != nullptr && instance->schema != element) instance = lyd_parent(instance);
  return instance;
}

}  // namespace

std::vector<std::string> PathSteps(const std::string& path) { return Split(path, '/'); }

AccessPath::AccessPath(const ly_ctx* context, const std::string& text) {
  if (text == "/") return;
  try {
    for (const std::string& step : PathSteps(text)) AddStep(context, step);
  } catch (const std::logic_error&) {
    throw std::runtime_error("no path of the models: " + text);
  }
}

/// "/module:name[predicate]...".
void AccessPath::AddStep(const ly_ctx* context, const std::string& step) {
  const size_t end = std::min(step.find('['), step.size());
  std::string name = step.substr(1, end - 1);
  const size_t colon = name.find(':');
  if (colon != std::string::npos) {
    module_ = ly_ctx_get_module_implemented(context, name.substr(0, colon).c_str());
    name.erase(0, colon + 1);
  }
  if (module_ == nullptr) throw std::invalid_argument(step);
  target_ = lys_find_child(target_, module_, name.c_str(), 0, 0, 0);
  if (target_ == nullptr) throw std::invalid_argument(step);
  for (const std::string& predicate : Split(step.substr(end), '[')) AddCondition(predicate);
}

/// "[key='value']", "[.='value']" or "[1]"; libyang takes no variables.
void AccessPath::AddCondition(const std::string& predicate) {
  Condition condition{target_, nullptr, "", 0};
  const size_t equal = predicate.find('=');
  if (equal == std::string::npos) {
    condition.place = static_cast<uint32_t>(std::stoul(predicate.substr(1)));
  } else {
    const std::string name = predicate.substr(1, equal - 1);
    const std::string local = name.substr(name.find(':') + 1);
    if (local != ".") {
      condition.key = lys_find_child(target_, target_->module, local.c_str(), 0, LYS_LEAF, 0);
      if (condition.key == nullptr) throw std::invalid_argument(predicate);
    }
    condition.value = Unquoted(predicate.substr(equal + 1, predicate.size() - equal - 2));
  }
  conditions_.push_back(std::move(condition));
}

bool AccessPath::Covers(const AccessPlace& place) const {
  if (target_ == nullptr) return true;
  const lysc_node* element = place.element;
  while (element != nullptr && element != target_) element = lysc_data_parent(element);
  if (element == nullptr) return false;
  for (const Condition& condition : conditions_) {
    if (!Holds(condition, place.instance)) return false;
  }
  return true;
}

bool AccessPath::Holds(const Condition& condition, const lyd_node* instance) {
  const lyd_node* entry = EntryAbove(instance, condition.entry);
  if (entry == nullptr) return false;
  if (condition.place != 0) return lyd_list_pos(entry) == condition.place;
  const lyd_node* holder =
      condition.key == nullptr ? entry : FindFirst(lyd_child(entry), condition.key);
  return holder != nullptr && condition.value == lyd_get_value(holder);
}

}  // namespace host
