#include "metrics.h"

#include <ctime>
#include <vector>

#include "config/type_words.h"
#include "config/yang_data.h"
#include "selection.h"
#include "state_tables.h"

namespace show {

namespace {

constexpr char kGauge[] = "gauge";
constexpr char kCounter[] = "counter";

struct Label {
  const char* name;
  const char* leaf;
};

using Labels = std::vector<Label>;

/// A leaf of each entry of a list, or of the state where that is null; null for a metric that has
/// labels alone, and the value 1.
struct Metric {
  const char* name;
  const char* type;
  const char* help;
  const char* leaf;
  const char* list = nullptr;
  const Labels* labels = nullptr;
  const Kind* kind = nullptr;  ///< Of which the leaf tells whether it is in force.
};

const Labels kOfState = {{"version", "version"}};
const Labels kOfListener = {{"address", "endpoint"}};
const Labels kOfInterface = {{"interface", "name"},
                             {"vrf", "vrf"},
                             {"kernel_name", "kernel-name"},
                             {"port", "udp-port"},
                             {"redirect_port", "redir-port"}};
const Labels kOfTarget = {
    {"target", "name"}, {"address", "address"}, {"port", "udp-port"}, {"vrf", "vrf"}};

constexpr char kListeners[] = "agent/listener";

const std::vector<Metric>& StateMetrics() {
  static const std::vector<Metric> metrics = {
      {"snmp_app_info", kGauge, "The running daemon.", nullptr, nullptr, &kOfState},
      {"snmp_app_uptime_seconds", kGauge, "Since the daemon's start.", "uptime"},
      {"snmp_app_ha_role", kGauge, "1 for the role that the node has.", "ha-role"},
      {"snmp_app_agent_enabled", kGauge, "Whether the SNMP agent is enabled.", "agent/enabled"},
      {"snmp_app_agent_retry_pending", kGauge,
       "Whether the agent's addresses are tried again in a moment.", "agent/retry-pending"},
      {"snmp_app_commits_total", kCounter, "Commits that changed something.", "counters/commits"},
      {"snmp_app_rebinds_total", kCounter, "How often the agent's listeners were set anew.",
       "counters/rebinds"},
      {"snmp_app_retries_total", kCounter, "How often addresses were tried again after a while.",
       "counters/retries"},
      {"snmp_app_answers_not_sent_total", kCounter, "Answers that the system has not sent.",
       "counters/answers-not-sent"},
      {"snmp_app_listeners_reopened_total", kCounter, "Listeners opened anew that did not hear.",
       "counters/listeners-reopened"},
      {"snmp_app_requests_refused_total", kCounter,
       "Requests with an unknown community, or that were no whole ones.",
       "counters/requests-refused"},
  };
  return metrics;
}

const std::vector<Metric>& ListMetrics() {
  static const std::vector<Metric> metrics = {
      {"snmp_app_listener_bound", kGauge, "Whether the agent listens at an address.", "bound",
       kListeners, &kOfListener, &kListener},
      {"snmp_app_listener_since_timestamp_seconds", kGauge,
       "When the agent began to listen there, or first failed to.", "since", kListeners,
       &kOfListener},
      {"snmp_app_listener_tries_total", kCounter, "How often the agent has tried to open it.",
       "tries", kListeners, &kOfListener},
      {"snmp_app_listener_answers_not_sent_total", kCounter,
       "Answers that the system has not sent from there.", "answers-not-sent", kListeners,
       &kOfListener},
      {"snmp_app_listener_reopened_total", kCounter, "How often it was opened anew for being deaf.",
       "reopened", kListeners, &kOfListener},
      {"snmp_app_listener_hears_again", kGauge, "Whether it hears since it was found deaf.",
       "hears-again", kListeners, &kOfListener},
      {"snmp_app_interface_redirect", kGauge,
       "Whether the kernel redirects an interface's requests; none where nothing is to be.",
       "redirect", "listening-interface", &kOfInterface, &kInterface},
      {"snmp_app_target_rule", kGauge,
       "Whether a notification target has its routing rule; none where it needs none.", "rule",
       "target", &kOfTarget, &kTarget},
  };
  return metrics;
}

std::string Sample(const std::string& labels, const std::string& value) {
  return (labels.empty() ? "" : "{" + labels + "}") + " " + value + "\n";
}

std::string LabelText(const std::string& name, const std::string& value) {
  return name + "=\"" + EscapeLabel(value) + "\"";
}

std::string LabelsOf(const lyd_node* entry, const Labels* labels) {
  std::string text;
  if (labels == nullptr) return text;
  for (const Label& label : *labels) {
    const std::string value = TextBelow(entry, label.leaf);
    if (!value.empty()) text += (text.empty() ? "" : ",") + LabelText(label.name, value);
  }
  return text;
}

/// Of a time; numbers are as they are.
std::string Number(const std::string& text, LY_DATA_TYPE type) {
  if (type == LY_TYPE_BOOL) return text == "true" ? "1" : "0";
  if (type != LY_TYPE_STRING) return text;
  time_t seconds = 0;
  const bool is_time = ly_time_str2time(text.c_str(), &seconds, nullptr) == LY_SUCCESS;
  return is_time ? std::to_string(seconds) : "NaN";
}

/// One for each name that the leaf may have.
std::string NameSamples(const char* metric, const lysc_type* type, const std::string& text) {
  std::string samples;
  const auto* names = reinterpret_cast<const lysc_type_enum*>(type)->enums;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(names, i) {
    samples += metric + Sample(LabelText("role", names[i].name), text == names[i].name ? "1" : "0");
  }
  return samples;
}

/// Of one entry; empty where it has no value, or one that is no fault and would look like it.
std::string SamplesOf(const Metric& metric, const lyd_node* state, const lyd_node* entry) {
  const std::string labels = LabelsOf(entry, metric.labels);
  if (metric.leaf == nullptr) return labels.empty() ? "" : metric.name + Sample(labels, "1");
  const lyd_node* leaf = FindBelow(entry, metric.leaf);
  if (leaf == nullptr) return "";
  const std::string text = lyd_get_value(leaf);
  const lysc_type* type = host::TypeOf(leaf->schema);
  if (type->basetype == LY_TYPE_ENUM) return NameSamples(metric.name, type, text);
  const bool is_no_fault =
      metric.kind != nullptr && text == "false" && !IsNeeded(state, entry, *metric.kind);
  return is_no_fault ? "" : metric.name + Sample(labels, Number(text, type->basetype));
}

void Print(std::ostream& out, const Metric& metric, const std::string& samples) {
  if (samples.empty()) return;
  out << "# HELP " << metric.name << ' ' << metric.help << "\n# TYPE " << metric.name << ' '
      << metric.type << '\n'
      << samples;
}

void PrintFaults(std::ostream& out, const lyd_node* state) {
  size_t count = 0;
  const lyd_node* last = nullptr;
  for (const lyd_node* fault = FindBelow(state, "fault"); fault != nullptr;
       fault = host::NextEntry(fault)) {
    ++count;
    last = fault;
  }
  const Metric kept = {"snmp_app_faults_kept", kGauge, "Faults that the daemon remembers.",
                       nullptr};
  Print(out, kept, kept.name + Sample("", std::to_string(count)));
  const Metric time = {"snmp_app_last_fault_timestamp_seconds", kGauge,
                       "When the last fault was raised.", "time"};
  if (last != nullptr) Print(out, time, SamplesOf(time, state, last));
}

}  // namespace

std::string EscapeLabel(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\n') {
      escaped += "\\n";
    } else {
      if (c == '\\' || c == '"') escaped += '\\';
      escaped += c;
    }
  }
  return escaped;
}

void PrintMetrics(std::ostream& out, const lyd_node* tree, const std::string& own_session) {
  const lyd_node* state = host::FindNamed(tree, "snmp-state");
  for (const Metric& metric : StateMetrics()) Print(out, metric, SamplesOf(metric, state, state));
  for (const Metric& metric : ListMetrics()) {
    std::string samples;
    for (const lyd_node* entry = FindBelow(state, metric.list); entry != nullptr;
         entry = host::NextEntry(entry)) {
      samples += SamplesOf(metric, state, entry);
    }
    Print(out, metric, samples);
  }
  PrintFaults(out, state);
  if (host::FindNamed(tree, "netconf-state") == nullptr) return;
  const Metric sessions = {"snmp_app_netconf_sessions", kGauge, "NETCONF sessions.", nullptr};
  Print(out, sessions,
        sessions.name + Sample("", std::to_string(SessionsOf(tree, own_session).size())));
}

}  // namespace show
