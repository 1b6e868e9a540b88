#include "netconf/envelope.h"

#include <cstring>
#include <memory>
#include <new>
#include <set>
#include <utility>

#include "netconf/rpc_refusal.h"
#include "netconf/xml.h"

namespace host {

namespace {

struct FreeInput {
  void operator()(ly_in* input) const { ly_in_free(input, 0); }
};

const lyd_attr* Attributes(const lyd_node* rpc) {
  return rpc == nullptr ? nullptr : reinterpret_cast<const lyd_node_opaq*>(rpc)->attr;
}

bool HasMessageId(const lyd_node* rpc) {
  for (const lyd_attr* attribute = Attributes(rpc); attribute != nullptr;
       attribute = attribute->next) {
    const bool is_plain = attribute->name.prefix == nullptr;
    if (is_plain && strcmp(attribute->name.name, "message-id") == 0) return true;
  }
  return false;
}

/// An attribute as it stands in a tag, behind the declaration of its prefix when that is new in
/// `declared`.
std::string AttributeText(const lyd_attr* attribute, std::set<std::string>* declared) {
  const std::string prefix = attribute->name.prefix == nullptr ? "" : attribute->name.prefix;
  std::string text;
  if (!prefix.empty() && declared->insert(prefix).second) {
    const char* ns = attribute->name.module_ns == nullptr ? "" : attribute->name.module_ns;
    text += " xmlns:" + prefix + "=\"" + EscapeXml(ns) + "\"";
  }
  const std::string name = (prefix.empty() ? "" : prefix + ":") + attribute->name.name;
  return text + " " + name + "=\"" + EscapeXml(attribute->value) + "\"";
}

/// Whether two attributes have one name, which no XML document has.
bool HasTwice(const lyd_node* rpc) {
  std::set<std::pair<std::string, std::string>> names;
  for (const lyd_attr* attribute = Attributes(rpc); attribute != nullptr;
       attribute = attribute->next) {
    const char* ns = attribute->name.module_ns;
    if (!names.emplace(ns == nullptr ? "" : ns, attribute->name.name).second) return true;
  }
  return false;
}

}  // namespace

RpcEnvelope::RpcEnvelope(ly_ctx* context, const std::string& message) {
  ly_in* opened = nullptr;
  if (ly_in_new_memory(message.c_str(), &opened) != LY_SUCCESS) throw std::bad_alloc();
  const std::unique_ptr<ly_in, FreeInput> input(opened);
  lyd_node* envelope = nullptr;
  lyd_node* operation = nullptr;
  LY_ERR result = lyd_parse_op(context, nullptr, input.get(), LYD_XML, LYD_TYPE_RPC_NETCONF,
                               &envelope, &operation);
  envelope_.reset(envelope);
  operation_.reset(operation);
  if (result == LY_SUCCESS && operation != nullptr) {
    result = lyd_validate_op(operation, nullptr, LYD_TYPE_RPC_YANG, nullptr);
  }
  if (result != LY_SUCCESS) error_ = TakeRefusal(context, message);
  // libyang reads a message as a C string, and takes attributes of one name.
  if (message.find('\0') != std::string::npos) Refuse("there is a zero byte in it");
  if (HasTwice(envelope_.get())) Refuse("an attribute stands twice");
  if (envelope_ == nullptr && !error_) Refuse("no rpc element");
}

/// Takes note that the message is no request at all.
void RpcEnvelope::Refuse(const std::string& reason) {
  envelope_.reset();
  error_ = RpcError("rpc", "malformed-message", "this is no request: " + reason);
}

const lyd_node* RpcEnvelope::Operation() const {
  if (envelope_ == nullptr) throw RpcError("rpc", "malformed-message", error_->what());
  if (!HasMessageId(envelope_.get())) {
    throw RpcError("rpc", "missing-attribute", "a request has a message-id")
        .With("bad-attribute", "message-id")
        .With("bad-element", "rpc");
  }
  if (error_) throw RpcError(*error_);
  if (operation_ == nullptr) {
    throw RpcError("protocol", "missing-element", "a request has an operation")
        .With("bad-element", "rpc");
  }
  return operation_.get();
}

std::string RpcEnvelope::Reply(const std::string& content) const {
  std::string attributes;
  std::set<std::string> declared = {"xml"};  // Every document has that one.
  for (const lyd_attr* attribute = Attributes(envelope_.get()); attribute != nullptr;
       attribute = attribute->next) {
    attributes += AttributeText(attribute, &declared);
  }
  return std::string("<rpc-reply xmlns=\"") + kNetconfNamespace + "\"" + attributes + ">" +
         content + "</rpc-reply>";
}

}  // namespace host
