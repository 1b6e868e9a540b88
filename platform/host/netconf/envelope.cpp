#include "netconf/envelope.h"

#include <cstring>
#include <memory>
#include <new>
#include <set>

#include "netconf/rpc_error.h"
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
    if (strcmp(attribute->name.name, "message-id") == 0) return true;
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

/// The element that a refusal of libyang names, empty when it names none.
std::string QuotedIn(const std::string& error) {
  const size_t begin = error.find('"');
  const size_t end = error.find('"', begin + 1);
  return end == std::string::npos ? "" : error.substr(begin + 1, end - begin - 1);
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
  if (result != LY_SUCCESS) error_ = TakeErrors(context);
}

const lyd_node* RpcEnvelope::Operation() const {
  if (envelope_ == nullptr) {
    throw RpcError("rpc", "malformed-message",
                   "this is no request: " + (error_.empty() ? "no rpc element" : error_));
  }
  if (!HasMessageId(envelope_.get())) {
    throw RpcError("rpc", "missing-attribute", "a request has a message-id")
        .With("bad-attribute", "message-id")
        .With("bad-element", "rpc");
  }
  if (error_.find("not found in the") != std::string::npos) {
    throw RpcError("protocol", "unknown-element", error_).With("bad-element", QuotedIn(error_));
  }
  if (!error_.empty()) {
    throw RpcError("protocol", "invalid-value", error_).With("bad-element", QuotedIn(error_));
  }
  if (operation_ == nullptr) {
    throw RpcError("protocol", "missing-element", "a request has an operation")
        .With("bad-element", "rpc");
  }
  return operation_.get();
}

std::string RpcEnvelope::Reply(const std::string& content) const {
  std::string attributes;
  std::set<std::string> declared;
  for (const lyd_attr* attribute = Attributes(envelope_.get()); attribute != nullptr;
       attribute = attribute->next) {
    attributes += AttributeText(attribute, &declared);
  }
  return std::string("<rpc-reply xmlns=\"") + kNetconfNamespace + "\"" + attributes + ">" +
         content + "</rpc-reply>";
}

}  // namespace host
