#include "netconf/envelope.h"

#include <algorithm>
#include <set>
#include <utility>

#include "netconf/rpc_refusal.h"
#include "netconf/xml.h"

namespace host {

namespace {

bool HasMessageId(const MessageHead& head) {
  const auto is_id = [](const MessageAttribute& attribute) {
    return attribute.prefix.empty() && attribute.name == "message-id";
  };
  return std::any_of(head.attributes.begin(), head.attributes.end(), is_id);
}

/// An attribute as it stands in a tag, behind the declaration of its prefix when that is new in
/// `declared`.
std::string AttributeText(const MessageAttribute& attribute, std::set<std::string>* declared) {
  std::string text;
  if (!attribute.prefix.empty() && declared->insert(attribute.prefix).second) {
    text += " xmlns:" + attribute.prefix + "=\"" + EscapeAttribute(attribute.ns) + "\"";
  }
  const std::string prefix = attribute.prefix.empty() ? "" : attribute.prefix + ":";
  return text + " " + prefix + attribute.name + "=\"" + EscapeAttribute(attribute.value) + "\"";
}

RpcError NoRequest(const std::string& reason) {
  return {"rpc", "malformed-message", "this is no request: " + reason};
}

}  // namespace

RpcEnvelope::RpcEnvelope(ly_ctx* context, const std::string& message) {
  try {
    MessageHead head = ReadHead(message);
    if (head.ns != kNetconfNamespace || head.name != "rpc") throw NoRequest("no rpc element");
    head_ = std::move(head);
    Read(context, message);
  } catch (const RpcError& error) {
    error_ = error;
  }
}

/// Fills envelope and operation; throws what libyang has against them.
void RpcEnvelope::Read(ly_ctx* context, const std::string& message) {
  if (!head_.unreadable.empty()) {
    throw RpcError("protocol", "operation-not-supported",
                   "elements of one name beside each other need a namespace")
        .With("bad-element", head_.unreadable);
  }
  if (head_.refused_attribute) throw RpcError(*head_.refused_attribute);
  const Input input(message);
  lyd_node* envelope = nullptr;
  lyd_node* operation = nullptr;
  LY_ERR result = lyd_parse_op(context, nullptr, input.Get(), LYD_XML, LYD_TYPE_RPC_NETCONF,
                               &envelope, &operation);
  envelope_.reset(envelope);
  operation_.reset(operation);
  if (result == LY_SUCCESS && operation != nullptr) {
    result = lyd_validate_op(operation, nullptr, LYD_TYPE_RPC_YANG, nullptr);
  }
  if (result != LY_SUCCESS) throw TakeRequestError(context);
  if (envelope_ == nullptr) throw NoRequest("no rpc element");
}

const lyd_node* RpcEnvelope::Operation() const {
  if (error_ && error_->Tag() == "malformed-message") throw RpcError(*error_);
  if (!HasMessageId(head_)) {
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
  for (const MessageAttribute& attribute : head_.attributes) {
    attributes += AttributeText(attribute, &declared);
  }
  return std::string("<rpc-reply xmlns=\"") + kNetconfNamespace + "\"" + attributes + ">" +
         content + "</rpc-reply>";
}

}  // namespace host
