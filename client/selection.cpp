#include "selection.h"

#include <algorithm>

#include "config/yang_data.h"
#include "netconf/xml.h"

namespace show {

namespace {

constexpr char kSessions[] =
    R"(<netconf-state xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring"><sessions/>)"
    "</netconf-state>";

std::string StateElement(const std::string& content) {
  return R"(<snmp-state xmlns="urn:snmp-app:state">)" + content + "</snmp-state>";
}

bool IsInAgent(const Kind& kind) { return std::string(kind.list).rfind("agent/", 0) == 0; }

std::string ListOf(const Kind& kind) {
  const std::string path = kind.list;
  return path.substr(path.find('/') + 1);
}

std::string Entries(const Selection& selection) {
  const std::string list = ListOf(*selection.kind);
  if (selection.names.empty()) return host::Element(list, "");
  std::string entries;
  for (const std::string& name : selection.names) {
    entries += host::Element(list, host::Element(selection.kind->key, host::EscapeXml(name)));
  }
  return entries;
}

/// Whether the system does what an entry wants, and requests get through.
bool IsInForce(const lyd_node* entry, const Kind& kind) {
  return TextBelow(entry, kind.in_force) == "true" && FindBelow(entry, "reason") == nullptr;
}

}  // namespace

const Kind kListener = {"listener", "agent/listener", "endpoint", "bound"};
const Kind kInterface = {"interface", "listening-interface", "name", "redirect", "vrf", true};
const Kind kTarget = {"target", "target", "name", "rule", "vrf"};

const Kind* FindKind(const std::string& word) {
  for (const Kind* kind : {&kListener, &kInterface, &kTarget}) {
    if (word == kind->word) return kind;
  }
  return nullptr;
}

std::string FilterOf(const Selection& selection) {
  if (selection.kind == nullptr) return StateElement("") + kSessions;
  const std::string entries = Entries(selection);
  const bool in_agent = IsInAgent(*selection.kind);
  return StateElement(host::Element("agent", "<enabled/>" + (in_agent ? entries : "")) +
                      (in_agent ? "" : entries));
}

const lyd_node* FindBelow(const lyd_node* parent, const std::string& path) {
  const size_t slash = path.find('/');
  const lyd_node* found = host::FindNamed(lyd_child(parent), path.substr(0, slash));
  if (found == nullptr || slash == std::string::npos) return found;
  return FindBelow(found, path.substr(slash + 1));
}

std::string TextBelow(const lyd_node* parent, const std::string& path) {
  const lyd_node* leaf = FindBelow(parent, path);
  return leaf == nullptr ? "" : lyd_get_value(leaf);
}

bool IsNeeded(const lyd_node* state, const lyd_node* entry, const Kind& kind) {
  if (kind.needs_agent && TextBelow(state, "agent/enabled") == "false") return false;
  return kind.needed_with == nullptr || FindBelow(entry, kind.needed_with) != nullptr;
}

std::vector<std::string> Missing(const lyd_node* state, const Selection& selection) {
  std::vector<std::string> missing;
  if (selection.kind == nullptr) return missing;
  const Kind& kind = *selection.kind;
  std::vector<std::string> found;
  for (const lyd_node* entry = FindBelow(state, kind.list); entry != nullptr;
       entry = host::NextEntry(entry)) {
    found.push_back(TextBelow(entry, kind.key));
    if (IsInForce(entry, kind) || !IsNeeded(state, entry, kind)) continue;
    missing.push_back(std::string(kind.word) + " " + found.back() + " is not in force");
  }
  for (const std::string& name : selection.names) {
    if (std::find(found.begin(), found.end(), name) == found.end()) {
      missing.push_back("there is no " + std::string(kind.word) + " " + name);
    }
  }
  return missing;
}

}  // namespace show
