#include "netconf/hello.h"

#include <cstring>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "config/netconf_features.h"
#include "config/yang_data.h"
#include "netconf/create_subscription.h"
#include "netconf/envelope.h"
#include "netconf/message.h"
#include "netconf/xml.h"
#include "netconf/yang_library.h"

namespace host {

namespace {

constexpr char kBase10[] = "urn:ietf:params:netconf:base:1.0";
constexpr char kBase11[] = "urn:ietf:params:netconf:base:1.1";

/// What clients of base:1.0 know of the later versions that this server has, too.
constexpr const char* kEarlierVersions[] = {
    "urn:ietf:params:netconf:capability:validate:1.0",
    "urn:ietf:params:netconf:capability:confirmed-commit:1.0",
};

constexpr char kWithDefaults[] =
    "urn:ietf:params:netconf:capability:with-defaults:1.0?basic-mode=explicit"
    "&also-supported=report-all,report-all-tagged,trim";

/// As RFC 6020, 5.6.4 has it.
std::string ModuleCapability(const lys_module* module) {
  std::string text = std::string(module->ns) + "?module=" + module->name;
  if (module->revision != nullptr) text += std::string("&revision=") + module->revision;
  const std::string features = FeaturesOf(module);
  return features.empty() ? text : text + "&features=" + features;
}

/// Whether a node is that element of the NETCONF namespace.
bool IsNamed(const lyd_node* node, const char* name) {
  return node->schema == nullptr && strcmp(NameOf(node), name) == 0 &&
         strcmp(NamespaceOf(node), kNetconfNamespace) == 0;
}

const lyd_node* FindChild(const lyd_node* parent, const char* name) {
  const lyd_node* child = lyd_child(parent);
  while (child != nullptr && !IsNamed(child, name)) child = child->next;
  return child;
}

/// Whether a <hello> tells a capability.
bool Tells(const lyd_node* hello, const std::string& capability) {
  const lyd_node* list = FindChild(hello, "capabilities");
  if (list == nullptr) return false;
  for (const lyd_node* entry = lyd_child(list); entry != nullptr; entry = entry->next) {
    if (IsNamed(entry, "capability") && Trimmed(ValueOf(entry)) == capability) return true;
  }
  return false;
}

}  // namespace

std::vector<std::string> Capabilities(const ly_ctx* context) {
  std::vector<std::string> capabilities = {kBase10, kBase11};
  for (const NetconfFeature& feature : kNetconfFeatures) {
    capabilities.emplace_back(feature.capability);
  }
  capabilities.insert(capabilities.end(), std::begin(kEarlierVersions), std::end(kEarlierVersions));
  capabilities.emplace_back(kWithDefaults);
  for (std::string& capability : EventCapabilities(context)) {
    capabilities.push_back(std::move(capability));
  }
  capabilities.push_back(
      "urn:ietf:params:netconf:capability:yang-library:1.1?revision=2019-01-04&content-id=" +
      ContentId(context));
  for (const lys_module* module : ToldModels(context)) {
    if (module->implemented != 0) capabilities.push_back(ModuleCapability(module));
  }
  return capabilities;
}

std::string ServerHello(const std::vector<std::string>& capabilities, SessionId session) {
  std::string list;
  for (const std::string& capability : capabilities) {
    list += "<capability>" + EscapeXml(capability) + "</capability>";
  }
  return std::string("<hello xmlns=\"") + kNetconfNamespace + "\"><capabilities>" + list +
         "</capabilities><session-id>" + std::to_string(session) + "</session-id></hello>";
}

bool UsesChunks(ly_ctx* context, const std::string& hello) {
  const MessageHead head = ReadHead(hello);
  if (!head.unreadable.empty()) throw std::runtime_error(head.unreadable + " has no namespace");
  const Tree tree = ParseData(context, Input(hello), LYD_XML, LYD_PARSE_OPAQ);
  if (tree == nullptr || !IsNamed(tree.get(), "hello")) {
    throw std::runtime_error("the first message is no hello");
  }
  if (FindChild(tree.get(), "session-id") != nullptr) {
    throw std::runtime_error("the number of a session is the server's to tell");
  }
  if (Tells(tree.get(), kBase11)) return true;
  if (!Tells(tree.get(), kBase10)) throw std::runtime_error("the hello tells no base capability");
  return false;
}

}  // namespace host
