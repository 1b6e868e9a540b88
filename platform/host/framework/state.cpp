#include "framework/state.h"

#include <boost/asio/ip/address.hpp>
#include <chrono>
#include <deque>
#include <string>

#include "confd_cdb.h"
#include "config/device_paths.h"
#include "framework/agent_settings.h"
#include "framework/cdb_reads.h"
#include "framework/interface_facts.h"
#include "framework/told_events.h"
#include "netconf/xml.h"

namespace host {

namespace {

std::string DeafXml(const DeafRecord& record) {
  return Element("reopened", record.reopened) + Leaf("hears-again", record.hears) +
         Leaf("deaf-reason", record.reason);
}

std::string ListenerXml(const Endpoint& endpoint, AgentCalls& agent, const AgentFacts& facts,
                        const ListenerRecord* record) {
  const auto deaf = facts.deaf.OfListeners().find(endpoint);
  const bool was_deaf = deaf != facts.deaf.OfListeners().end();
  const bool is_closed = was_deaf && deaf->second.is_closed;
  const bool bound = facts.listeners.count(endpoint) > 0 && !is_closed;
  std::string content = Leaf("endpoint", ToText(endpoint)) + Leaf("bound", bound);
  if (is_closed) {
    content += Leaf("reason", "deaf, and opened anew in a moment: " + deaf->second.reason);
  } else if (!bound) {
    const std::string reason = agent.WhyNot(endpoint);
    content += Leaf("reason", reason.empty() ? "waits for the next rebind" : reason);
  }
  if (record != nullptr) {
    content += Leaf("last-error", record->last_error) + Leaf("since", TimeText(record->since)) +
               Element("tries", record->tries);
  }
  const auto unsent = facts.unsent.OfListeners().find(endpoint);
  if (unsent != facts.unsent.OfListeners().end()) {
    content += Element("answers-not-sent", unsent->second.count) +
               Leaf("answer-error", unsent->second.last_error);
  }
  if (was_deaf) content += DeafXml(deaf->second);
  return Element("listener", content);
}

std::string AgentXml(const StateSources& from, const AgentFacts& facts) {
  std::string content = Leaf("enabled", ReadAgentEnabled(from.cdb_socket));
  for (const Endpoint& endpoint : Normalized(ReadAgentListeners(from.cdb_socket))) {
    content += ListenerXml(endpoint, from.agent, facts, from.history.Find(endpoint));
  }
  const bool program_retries = from.process.timers->facts.running > 0;
  return Element("agent", content + Leaf("retry-pending", from.agent_retries || program_retries));
}

uint16_t Port(int cdb_socket, const std::string& path) {
  uint16_t port = 0;
  cdb_get_u_int16(cdb_socket, &port, "%s", path.c_str());
  return port;
}

bool IsOfL3Interface(const std::string& name) { return name.compare(0, 3, "l3-") == 0; }

/// Why a listening interface has no redirect, or one that does not work; empty for one that does.
/// `refusal` is what the kernel said.
std::string WhyNoRedirect(const std::string& name, bool enabled, bool redirect,
                          const std::string& vrf, bool hears_vrf_devices,
                          const std::string& refusal) {
  if (!enabled) return "the agent is disabled";
  if (!IsOfL3Interface(name)) return "its name is not l3- and that of an L3 interface";
  if (vrf.empty()) return "the interface is in no VRF";
  if (!redirect) {
    return refusal.empty() ? "the kernel refused it; see the log"
                           : "the kernel refused it: " + refusal;
  }
  if (hears_vrf_devices) return "";
  return "what comes in over VRF devices does not reach the agent: net.ipv4.udp_l3mdev_accept is 0 "
         "and the daemon may not set it; do: sysctl -w net.ipv4.udp_l3mdev_accept=1";
}

std::string InterfaceXml(int cdb_socket, const std::string& entry, bool enabled, const Rules& rules,
                         bool hears_vrf_devices) {
  const std::string name = ReadLeaf(cdb_socket, entry + "name");
  const std::string l3_name = IsOfL3Interface(name) ? name.substr(3) : name;
  const std::string vrf =
      ReadLeaf(cdb_socket, std::string(kL3InterfacesPath) + "{" + l3_name + "}/vrf");
  const std::string kernel_name = ReadKernelName(cdb_socket, name);
  const uint16_t port = Port(cdb_socket, entry + "udp-port");
  const uint16_t redirect_port = Port(cdb_socket, entry + "redir-port");
  const bool redirect = rules.HasRedirect(kernel_name, port, redirect_port);
  const std::string refusal = rules.WhyNoRedirect(kernel_name, port, redirect_port);
  return Element(
      "listening-interface",
      Leaf("name", name) + Leaf("vrf", vrf) + Leaf("kernel-name", kernel_name) +
          Element("udp-port", port) +
          (redirect_port == 0 ? "" : Element("redir-port", redirect_port)) +
          Leaf("redirect", redirect) +
          Leaf("reason", WhyNoRedirect(name, enabled, redirect, vrf, hears_vrf_devices, refusal)));
}

std::string InterfacesXml(int cdb_socket, const Rules& rules) {
  const bool enabled = ReadAgentEnabled(cdb_socket);
  const bool hears_vrf_devices = rules.HearsVrfDevices();
  const int count = CountEntries(cdb_socket, kListenersPath);
  std::string content;
  for (int i = 0; i < count; ++i) {
    content +=
        InterfaceXml(cdb_socket, EntryAt(kListenersPath, i), enabled, rules, hears_vrf_devices);
  }
  return content;
}

std::string TargetXml(int cdb_socket, const std::string& entry, const Rules& rules) {
  const std::string vrf = ReadLeaf(cdb_socket, entry + "vrf");
  const std::string address = ReadLeaf(cdb_socket, entry + "ip");
  DestinationRule rule;
  rule.address = boost::asio::ip::make_address(address);
  rule.port = Port(cdb_socket, entry + "udp-port");
  cdb_get_u_int32(cdb_socket, &rule.table, "%s{%s}/vrf-idx", kVrfsPath, vrf.c_str());
  const bool has_rule = rules.HasDestination(rule);
  std::string reason;
  if (!has_rule) {
    const std::string refusal = rules.WhyNoDestination(rule);
    reason = refusal.empty() ? "the VRF's number has changed; see the log"
                             : "the kernel refused it: " + refusal;
    if (rule.address.is_v6()) reason = "targets with an IPv6 address get none";
    if (vrf.empty()) reason = "the target is in no VRF";
  }
  return Element("target", Leaf("name", ReadLeaf(cdb_socket, entry + "name")) +
                               Leaf("address", address) + Element("udp-port", rule.port) +
                               Leaf("vrf", vrf) + Leaf("rule", has_rule) + Leaf("reason", reason));
}

std::string TargetsXml(int cdb_socket, const Rules& rules) {
  const int count = CountEntries(cdb_socket, kTargetsPath);
  std::string content;
  for (int i = 0; i < count; ++i) content += TargetXml(cdb_socket, EntryAt(kTargetsPath, i), rules);
  return content;
}

std::string FaultsXml(const std::deque<Fault>& faults) {
  std::string content;
  for (const Fault& fault : faults) {
    content += Element(
        "fault", Leaf("time", TimeText(fault.time)) + Leaf("code", std::to_string(fault.code)) +
                     Leaf("function", fault.function) + Leaf("line", std::to_string(fault.line)) +
                     Leaf("text", fault.text));
  }
  return content;
}

std::string ProgramXml(const Process& process) {
  const auto uptime = std::chrono::duration_cast<std::chrono::seconds>(
      std::chrono::steady_clock::now() - process.begin);
  return Leaf("version", std::string(PROGRAM_VERSION)) +
         Element("uptime", static_cast<uint64_t>(uptime.count())) +
         Leaf("ha-role", RoleText(process.role));
}

std::string CountersXml(const StateSources& from, const AgentFacts& facts) {
  return Element("counters", Element("commits", from.commits) +
                                 Element("rebinds", from.history.Rebinds()) +
                                 Element("retries", from.process.timers->facts.fired) +
                                 Element("answers-not-sent", facts.unsent.Total()) +
                                 Element("listeners-reopened", facts.deaf.Total()) +
                                 Element("requests-refused", facts.refused));
}

}  // namespace

Tree ReadState(ly_ctx* context, const StateSources& from) {
  const AgentFacts facts = from.agent.Facts();
  const std::string xml = R"(<snmp-state xmlns="urn:snmp-app:state">)" + ProgramXml(from.process) +
                          AgentXml(from, facts) + InterfacesXml(from.cdb_socket, from.rules) +
                          TargetsXml(from.cdb_socket, from.rules) + FaultsXml(from.process.faults) +
                          CountersXml(from, facts) + "</snmp-state>";
  return ParseState(context, xml);
}

}  // namespace host
