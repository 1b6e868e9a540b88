// Refusals of a request (RFC 6241, section 4.3 and appendix A).
#pragma once

#include <libyang/libyang.h>

#include <string>
#include <utility>
#include <vector>

#include "config/refusal.h"

namespace host {

/// One <rpc-error>, severity "error". Texts are those of the RFC: `type` is transport, rpc,
/// protocol or application, `tag` one of appendix A.
class RpcError : public Refusal {
 public:
  RpcError(std::string type, std::string tag, const std::string& message)
      : Refusal(std::move(tag), "", message), type_(std::move(type)) {}
  RpcError(std::string type, const Refusal& refusal) : Refusal(refusal), type_(std::move(type)) {}

  /// The same that tells which element of the request or the configuration it is about, a path as
  /// libyang has it.
  RpcError At(std::string path) const;

  /// The same with an <error-app-tag>.
  RpcError WithAppTag(std::string tag) const;

  /// The same with one more element of <error-info>: its name in the NETCONF namespace and its
  /// text.
  RpcError With(const std::string& name, const std::string& text) const;

  /// Whether it is the message that is no request, and not what is requested that is refused.
  bool IsOfRpcLayer() const { return type_ == "rpc"; }

  /// The same with an element of YANG's namespace (RFC 7950, section 15): a name, or the path of an
  /// element as libyang has it.
  RpcError WithYang(const std::string& name, const std::string& value) const;

  /// The element as it stands in an <rpc-reply> of the NETCONF namespace. `context` has the models
  /// of the path, whose names become prefixes there.
  std::string Xml(const ly_ctx* context) const;

 private:
  std::string type_;
  std::string info_;
  std::vector<std::pair<std::string, std::string>> yang_info_;
};

/// An instance identifier in which a module's name stands before each step and key, as an element
/// that declares these names as prefixes. `path` is as libyang has it, with a name where the module
/// changes.
std::string PathElement(const ly_ctx* context, const std::string& path,
                        const std::string& name = "error-path", const std::string& attributes = "");

}  // namespace host
