// Refusals of a request (RFC 6241, section 4.3 and appendix A).
#pragma once

#include <libyang/libyang.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace host {

/// One <rpc-error>, severity "error". Texts are those of the RFC: `type` is transport, rpc,
/// protocol or application, `tag` one of appendix A.
class RpcError : public std::runtime_error {
 public:
  RpcError(std::string type, std::string tag, const std::string& message)
      : std::runtime_error(message), type_(std::move(type)), tag_(std::move(tag)) {}

  /// The same that tells which element of the request or the configuration it is about, a path as
  /// libyang has it.
  RpcError At(std::string path) const;

  /// The same with an <error-app-tag>.
  RpcError AppTag(std::string tag) const;

  /// The same with one more element of <error-info>: its name in the NETCONF namespace and its
  /// text.
  RpcError With(const std::string& name, const std::string& text) const;

  const std::string& Tag() const { return tag_; }
  const std::string& Path() const { return path_; }

  /// The element as it stands in an <rpc-reply> of the NETCONF namespace. `context` has the models
  /// of the path, whose names become prefixes there.
  std::string Xml(const ly_ctx* context) const;

 private:
  std::string type_;
  std::string tag_;
  std::string app_tag_;
  std::string path_;
  std::string info_;
};

/// An instance identifier in which a module's name stands before each step and key, as an element
/// <error-path> that declares these names as prefixes. `path` is as libyang has it, with a name
/// where the module changes.
std::string ErrorPath(const ly_ctx* context, const std::string& path);

/// The data path of a node, empty for none.
std::string PathOf(const lyd_node* node);

}  // namespace host
