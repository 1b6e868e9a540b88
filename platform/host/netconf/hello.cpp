#include "netconf/hello.h"

#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

#include "config/tree.h"
#include "netconf/envelope.h"
#include "netconf/message.h"
#include "netconf/xml.h"

namespace host {

namespace {

constexpr char kBase10[] = "urn:ietf:params:netconf:base:1.0";
constexpr char kBase11[] = "urn:ietf:params:netconf:base:1.1";

constexpr char kWithDefaults[] =
    "urn:ietf:params:netconf:capability:with-defaults:1.0?basic-mode=explicit"
    "&also-supported=report-all,report-all-tagged,trim";

constexpr const char* kCapabilities[] = {
    kBase10,
    kBase11,
    "urn:ietf:params:netconf:capability:writable-running:1.0",
    "urn:ietf:params:netconf:capability:candidate:1.0",
    "urn:ietf:params:netconf:capability:rollback-on-error:1.0",
    "urn:ietf:params:netconf:capability:validate:1.1",
    "urn:ietf:params:netconf:capability:xpath:1.0",
    kWithDefaults,
};

struct FreeInput {
  void operator()(ly_in* input) const { ly_in_free(input, 0); }
};

std::string ModuleCapability(const lys_module* module) {
  std::string text = std::string(module->ns) + "?module=" + module->name;
  if (module->revision != nullptr) text += std::string("&revision=") + module->revision;
  return text;
}

const lyd_node_opaq* AsOpaque(const lyd_node* node) {
  return reinterpret_cast<const lyd_node_opaq*>(node);
}

/// Whether a node is that element of the NETCONF namespace.
bool IsNamed(const lyd_node* node, const char* name) {
  if (node->schema != nullptr) return false;
  const ly_opaq_name& found = AsOpaque(node)->name;
  return strcmp(found.name, name) == 0 && found.module_ns != nullptr &&
         strcmp(found.module_ns, kNetconfNamespace) == 0;
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
    if (!IsNamed(entry, "capability")) continue;
    const std::string text = AsOpaque(entry)->value;
    const size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos) continue;
    const size_t end = text.find_last_not_of(" \t\r\n");
    if (text.substr(begin, end - begin + 1) == capability) return true;
  }
  return false;
}

}  // namespace

std::vector<std::string> Capabilities(const ly_ctx* context) {
  std::vector<std::string> capabilities(std::begin(kCapabilities), std::end(kCapabilities));
  capabilities.push_back(
      "urn:ietf:params:netconf:capability:yang-library:1.1?revision=2019-01-04&content-id=" +
      std::to_string(ly_ctx_get_change_count(context)));
  uint32_t index = 0;
  while (const lys_module* module = ly_ctx_get_module_iter(context, &index)) {
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
  ly_in* opened = nullptr;
  if (ly_in_new_memory(hello.c_str(), &opened) != LY_SUCCESS) throw std::bad_alloc();
  const std::unique_ptr<ly_in, FreeInput> input(opened);
  lyd_node* parsed = nullptr;
  const LY_ERR result = lyd_parse_data(context, nullptr, input.get(), LYD_XML,
                                       LYD_PARSE_ONLY | LYD_PARSE_OPAQ, 0, &parsed);
  const Tree tree(parsed);
  if (result != LY_SUCCESS) throw std::runtime_error(TakeErrors(context));
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
