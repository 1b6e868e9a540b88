#include "config/kept_configuration.h"

#include <stdexcept>

namespace host {

namespace {

constexpr char kModel[] = "snmp-app-history";
constexpr char kList[] = "configuration";

void AddLeaf(ly_ctx* context, lyd_node* entry, const char* name, const std::string& text) {
  if (text.empty()) return;
  if (lyd_new_term(entry, nullptr, name, text.c_str(), 0, nullptr) != LY_SUCCESS) {
    throw TakeRefusal(context);
  }
}

void AddEntry(ly_ctx* context, lyd_node* top, const KeptConfiguration& kept) {
  lyd_node* entry = nullptr;
  const std::string number = std::to_string(kept.number);
  if (lyd_new_list(top, nullptr, kList, 0, &entry, number.c_str()) != LY_SUCCESS) {
    throw TakeRefusal(context);
  }
  const Author& author = kept.author;
  AddLeaf(context, entry, "time", kept.time);
  AddLeaf(context, entry, "user", author.user);
  AddLeaf(context, entry, "session", author.session == 0 ? "" : std::to_string(author.session));
  AddLeaf(context, entry, "operation", author.operation);
  AddLeaf(context, entry, "changes", kept.changes);
}

std::string TextOf(const lyd_node* entry, const char* name) {
  const lyd_node* leaf = FindNamed(lyd_child(entry), name);
  return leaf == nullptr ? "" : ValueOf(leaf);
}

uint32_t NumberOf(const std::string& text) {
  return text.empty() ? 0 : static_cast<uint32_t>(std::stoul(text));
}

}  // namespace

Tree HistoryData(ly_ctx* context, const std::deque<KeptConfiguration>& configurations) {
  if (configurations.empty()) return nullptr;
  const lys_module* model = ly_ctx_get_module_implemented(context, kModel);
  lyd_node* top = nullptr;
  if (lyd_new_inner(nullptr, model, "history", 0, &top) != LY_SUCCESS) throw TakeRefusal(context);
  Tree data(top);
  for (const KeptConfiguration& kept : configurations) AddEntry(context, top, kept);
  return data;
}

KeptConfiguration ReadHistoryData(ly_ctx* context, const std::string& json) {
  const Tree data = ParseData(context, Input(json), LYD_JSON, LYD_PARSE_STRICT);
  const lyd_node* top = data == nullptr ? nullptr : FindNamed(data.get(), "history");
  const lyd_node* entry = FindNamed(lyd_child(top), kList);
  if (entry == nullptr) throw std::runtime_error("it tells of no configuration");
  KeptConfiguration kept;
  kept.number = NumberOf(TextOf(entry, "number"));
  kept.time = TextOf(entry, "time");
  kept.author = {TextOf(entry, "user"), NumberOf(TextOf(entry, "session")),
                 TextOf(entry, "operation")};
  kept.changes = TextOf(entry, "changes");
  return kept;
}

}  // namespace host
