#include "state_tables.h"

#include "config/yang_data.h"

namespace show {

namespace {

/// A leaf by its path below what is shown, and what it is called here.
struct Column {
  const char* name;
  const char* path;
};

using Columns = std::vector<Column>;

/// A list by its path in the state, and what it is of. With `only_with` the table has the entries
/// that have this leaf, and stands there only when there are some.
struct Table {
  const char* title;
  const char* list;
  Columns columns;
  const Kind* kind = nullptr;
  const char* only_with = nullptr;
};

const Columns& Counters() {
  static const Columns counters = {
      {"Commits", "counters/commits"},
      {"rebinds", "counters/rebinds"},
      {"retries", "counters/retries"},
      {"answers not sent", "counters/answers-not-sent"},
      {"listeners reopened", "counters/listeners-reopened"},
      {"requests refused", "counters/requests-refused"},
  };
  return counters;
}

const Columns& SessionColumns() {
  static const Columns columns = {{"number", "session-id"},
                                  {"user", "username"},
                                  {"from", "source-host"},
                                  {"since", "login-time"}};
  return columns;
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
        {"why not", "reason"}},
       &kListener},
      {"Answers not sent",
       "agent/listener",
       {{"from", "endpoint"}, {"answers", "answers-not-sent"}, {"last error", "answer-error"}},
       &kListener,
       "answers-not-sent"},
      {"Found deaf",
       "agent/listener",
       {{"address", "endpoint"},
        {"opened anew", "reopened"},
        {"hears again", "hears-again"},
        {"last reason", "deaf-reason"}},
       &kListener,
       "reopened"},
      {"Listening interfaces",
       "listening-interface",
       {{"name", "name"},
        {"VRF", "vrf"},
        {"kernel name", "kernel-name"},
        {"port", "udp-port"},
        {"redirected to", "redir-port"},
        {"in kernel", "redirect"},
        {"why not", "reason"}},
       &kInterface},
      {"Notification targets",
       "target",
       {{"name", "name"},
        {"address", "address"},
        {"port", "udp-port"},
        {"VRF", "vrf"},
        {"routing rule", "rule"},
        {"why not", "reason"}},
       &kTarget},
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

bool IsBoolean(const lyd_node* leaf) {
  return reinterpret_cast<const lysc_node_leaf*>(leaf->schema)->type->basetype == LY_TYPE_BOOL;
}

Cell CellOf(const lyd_node* parent, const char* path) {
  const lyd_node* leaf = FindBelow(parent, path);
  if (leaf == nullptr) return {kNothing, Tone::kFaint};
  const std::string text = lyd_get_value(leaf);
  if (!IsBoolean(leaf)) return {text};
  if (text == "true") return {"yes", Tone::kGood};
  return {"no", Tone::kBad};
}

Row RowOf(const lyd_node* state, const lyd_node* entry, const Table& table) {
  Row row;
  for (const Column& column : table.columns) {
    Cell cell = CellOf(entry, column.path);
    const bool is_in_force =
        table.kind != nullptr && std::string(column.path) == table.kind->in_force;
    const bool is_no_fault =
        cell.text == "no" && is_in_force && !IsNeeded(state, entry, *table.kind);
    row.push_back(is_no_fault ? Cell{kNothing, Tone::kFaint} : cell);
  }
  return row;
}

std::vector<std::string> NamesOf(const Columns& columns) {
  std::vector<std::string> names;
  for (const Column& column : columns) names.emplace_back(column.name);
  return names;
}

/// False where a table is left out for want of entries.
bool PrintList(const Output& out, const Table& table, const lyd_node* state, const char* before) {
  std::vector<Row> rows;
  for (const lyd_node* entry = FindBelow(state, table.list); entry != nullptr;
       entry = host::NextEntry(entry)) {
    if (table.only_with != nullptr && FindBelow(entry, table.only_with) == nullptr) continue;
    rows.push_back(RowOf(state, entry, table));
  }
  if (rows.empty() && table.only_with != nullptr) return false;
  out.stream << before;
  PrintTable(out, table.title, NamesOf(table.columns), rows);
  return true;
}

void PrintSessions(const Output& out, const std::vector<const lyd_node*>& sessions) {
  std::vector<Row> rows;
  for (const lyd_node* session : sessions) {
    Row row;
    for (const Column& column : SessionColumns()) row.push_back(CellOf(session, column.path));
    rows.push_back(row);
  }
  out.stream << '\n';
  PrintTable(out, "NETCONF sessions", NamesOf(SessionColumns()), rows);
}

void PrintFact(const Output& out, const char* before, const char* name, const Cell& cell) {
  out.stream << before << name << ": ";
  PrintToned(out, cell.text, cell.tone);
}

/// "enabled" or "disabled".
Cell AgentCell(const lyd_node* state) {
  const std::string enabled = TextBelow(state, "agent/enabled");
  if (enabled.empty()) return {kNothing, Tone::kFaint};
  return enabled == "true" ? Cell{"enabled", Tone::kGood} : Cell{"disabled", Tone::kBad};
}

Cell UptimeCell(const lyd_node* state) {
  const std::string text = TextBelow(state, "uptime");
  return text.empty() ? Cell{kNothing, Tone::kFaint} : Cell{SpanText(std::stoull(text))};
}

Cell RetryCell(const lyd_node* state) {
  const Cell cell = CellOf(state, "agent/retry-pending");
  return cell.text == "yes" ? Cell{"yes", Tone::kBad} : Cell{cell.text};
}

void PrintSummary(const Output& out, const lyd_node* state, size_t sessions) {
  constexpr char kGap[] = "   ";
  PrintFact(out, "", "Role", CellOf(state, "ha-role"));
  PrintFact(out, kGap, "agent", AgentCell(state));
  PrintFact(out, kGap, "retry pending", RetryCell(state));
  PrintFact(out, kGap, "version", CellOf(state, "version"));
  PrintFact(out, kGap, "up", UptimeCell(state));
  PrintFact(out, kGap, "NETCONF sessions", {std::to_string(sessions)});
  const char* gap = "\n";
  for (const Column& column : Counters()) {
    PrintFact(out, gap, column.name, CellOf(state, column.path));
    gap = kGap;
  }
  out.stream << '\n';
}

}  // namespace

std::vector<const lyd_node*> SessionsOf(const lyd_node* tree, const std::string& own_session) {
  std::vector<const lyd_node*> sessions;
  const lyd_node* monitoring = host::FindNamed(tree, "netconf-state");
  if (monitoring == nullptr) return sessions;
  for (const lyd_node* session = FindBelow(monitoring, "sessions/session"); session != nullptr;
       session = host::NextEntry(session)) {
    if (TextBelow(session, "session-id") != own_session) sessions.push_back(session);
  }
  return sessions;
}

std::string SpanText(unsigned long long seconds) {
  struct Unit {
    unsigned long long seconds;
    const char* name;
  };
  static constexpr Unit kUnits[] = {{86400, " d"}, {3600, " h"}, {60, " min"}, {1, " s"}};
  std::string text;
  for (const Unit& unit : kUnits) {
    const bool is_last = !text.empty();
    const unsigned long long count = seconds / unit.seconds;
    seconds %= unit.seconds;
    if (count > 0) text += (is_last ? " " : "") + std::to_string(count) + unit.name;
    if (is_last) return text;
  }
  return text.empty() ? "0 s" : text;
}

void PrintState(const Output& out, const lyd_node* tree, const Selection& selection,
                const std::string& own_session) {
  const lyd_node* state = host::FindNamed(tree, "snmp-state");
  const bool is_all = selection.kind == nullptr;
  const std::vector<const lyd_node*> sessions = SessionsOf(tree, own_session);
  if (is_all) PrintSummary(out, state, sessions.size());
  const char* before = is_all ? "\n" : "";
  for (const Table& table : Tables()) {
    if (!is_all && table.kind != selection.kind) continue;
    if (PrintList(out, table, state, before)) before = "\n";
  }
  if (is_all) PrintSessions(out, sessions);
}

}  // namespace show
