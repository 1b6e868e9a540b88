#include "state_tables.h"

#include <string>
#include <vector>

#include "config/yang_data.h"
#include "table.h"

namespace show {

namespace {

/// A leaf by its path below what is shown, and what it is called here.
struct Column {
  const char* name;
  const char* path;
};

/// A list by its path in the state. With `only_with` the table has the entries that have this leaf,
/// and stands there only when there are some.
struct Table {
  const char* title;
  const char* list;
  std::vector<Column> columns;
  const char* only_with = nullptr;
};

const std::vector<Column>& Summary() {
  static const std::vector<Column> summary = {
      {"Role", "ha-role"},
      {"retry pending", "agent/retry-pending"},
      {"commits", "counters/commits"},
      {"rebinds", "counters/rebinds"},
      {"retries", "counters/retries"},
      {"answers not sent", "counters/answers-not-sent"},
      {"listeners reopened", "counters/listeners-reopened"},
      {"requests refused", "counters/requests-refused"},
  };
  return summary;
}

const std::vector<Table>& Tables() {
  static const std::vector<Table> tables = {
      {"The agent listens at",
       "agent/listener",
       {{"address", "endpoint"},
        {"bound", "bound"},
        {"since", "since"},
        {"tries", "tries"},
        {"last error", "last-error"},
        {"why not", "reason"}}},
      {"Answers not sent",
       "agent/listener",
       {{"from", "endpoint"}, {"answers", "answers-not-sent"}, {"last error", "answer-error"}},
       "answers-not-sent"},
      {"Found deaf",
       "agent/listener",
       {{"address", "endpoint"},
        {"opened anew", "reopened"},
        {"hears again", "hears-again"},
        {"last reason", "deaf-reason"}},
       "reopened"},
      {"Listening interfaces",
       "listening-interface",
       {{"name", "name"},
        {"VRF", "vrf"},
        {"kernel name", "kernel-name"},
        {"port", "udp-port"},
        {"redirected to", "redir-port"},
        {"in kernel", "redirect"},
        {"why not", "reason"}}},
      {"Notification targets",
       "target",
       {{"name", "name"}, {"routing rule", "rule"}, {"why not", "reason"}}},
      {"Last faults",
       "fault",
       {{"time", "time"},
        {"code", "code"},
        {"function", "function"},
        {"line", "line"},
        {"text", "text"}}},
  };
  return tables;
}

/// The first node of a path below `parent`; null when there is none.
const lyd_node* Find(const lyd_node* parent, const std::string& path) {
  const size_t slash = path.find('/');
  const lyd_node* found = host::FindNamed(lyd_child(parent), path.substr(0, slash));
  if (found == nullptr || slash == std::string::npos) return found;
  return Find(found, path.substr(slash + 1));
}

bool IsBoolean(const lyd_node* leaf) {
  return reinterpret_cast<const lysc_node_leaf*>(leaf->schema)->type->basetype == LY_TYPE_BOOL;
}

std::string Cell(const lyd_node* parent, const char* path) {
  const lyd_node* leaf = Find(parent, path);
  if (leaf == nullptr) return "-";
  const std::string text = lyd_get_value(leaf);
  if (!IsBoolean(leaf)) return text;
  return text == "true" ? "yes" : "no";
}

std::vector<Row> Rows(const lyd_node* state, const Table& table) {
  std::vector<Row> rows;
  for (const lyd_node* entry = Find(state, table.list); entry != nullptr;
       entry = host::NextEntry(entry)) {
    if (table.only_with != nullptr && Find(entry, table.only_with) == nullptr) continue;
    Row row;
    for (const Column& column : table.columns) row.push_back(Cell(entry, column.path));
    rows.push_back(row);
  }
  return rows;
}

void PrintList(std::ostream& out, const Table& table, const lyd_node* state) {
  const std::vector<Row> rows = Rows(state, table);
  if (rows.empty() && table.only_with != nullptr) return;
  Row names;
  for (const Column& column : table.columns) names.emplace_back(column.name);
  out << '\n';
  PrintTable(out, table.title, names, rows);
}

}  // namespace

void PrintState(std::ostream& out, const lyd_node* state) {
  const char* gap = "";
  for (const Column& column : Summary()) {
    out << gap << column.name << ": " << Cell(state, column.path);
    gap = "   ";
  }
  out << '\n';
  for (const Table& table : Tables()) PrintList(out, table, state);
}

}  // namespace show
