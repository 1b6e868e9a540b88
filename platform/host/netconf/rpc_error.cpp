#include "netconf/rpc_error.h"

#include <set>

#include "netconf/xml.h"

namespace host {

namespace {

/// Where the step or predicate that begins at `begin` ends: quoted text is skipped.
size_t EndOfPart(const std::string& path, size_t begin) {
  char quote = '\0';
  for (size_t i = begin; i < path.size(); ++i) {
    const char c = path[i];
    if (quote != '\0') {
      if (c == quote) quote = '\0';
    } else if (c == '\'' || c == '"') {
      quote = c;
    } else if (i > begin && (c == '/' || c == '[')) {
      return i;
    }
  }
  return path.size();
}

/// In bytes. libyang's reasons quote the rest of a message, which may be the longest one.
constexpr size_t kMaxReason = 4000;

std::string YangElement(const ly_ctx* context, const std::string& name, const std::string& value) {
  const std::string ns = R"( xmlns="urn:ietf:params:xml:ns:yang:1")";
  if (value.compare(0, 1, "/") == 0) return PathElement(context, value, name, ns);
  return "<" + name + ns + ">" + EscapeXml(value) + "</" + name + ">";
}

std::string Shortened(const std::string& reason) {
  return reason.size() <= kMaxReason ? reason : reason.substr(0, kMaxReason) + "...";
}

}  // namespace

RpcError RpcError::At(std::string path) const {
  RpcError error = *this;
  error.path_ = std::move(path);
  return error;
}

RpcError RpcError::WithAppTag(std::string tag) const {
  RpcError error = *this;
  error.app_tag_ = std::move(tag);
  return error;
}

RpcError RpcError::With(const std::string& name, const std::string& text) const {
  RpcError error = *this;
  error.info_ += Element(name, EscapeXml(text));
  return error;
}

RpcError RpcError::WithYang(const std::string& name, const std::string& value) const {
  RpcError error = *this;
  error.yang_info_.emplace_back(name, value);
  return error;
}

std::string RpcError::Xml(const ly_ctx* context) const {
  std::string content = Element("error-type", type_) + Element("error-tag", tag_) +
                        Element("error-severity", "error");
  if (!app_tag_.empty()) content += Element("error-app-tag", app_tag_);
  if (!path_.empty()) content += PathElement(context, path_);
  content += "<error-message xml:lang=\"en\">" + EscapeXml(Shortened(what())) + "</error-message>";
  std::string info = info_;
  for (const auto& [name, value] : yang_info_) info += YangElement(context, name, value);
  if (!info.empty()) content += Element("error-info", info);
  return Element("rpc-error", content);
}

std::string PathElement(const ly_ctx* context, const std::string& path, const std::string& name,
                        const std::string& attributes) {
  std::string text;
  std::string module;
  std::set<std::string> modules;
  for (size_t begin = 0; begin < path.size();) {
    const size_t end = EndOfPart(path, begin);
    // '/' or '[', and behind it a name, with its module where that changes, or '.' for a value.
    std::string part = path.substr(begin + 1, end - begin - 1);
    const size_t name_end = part.find_first_of("=]'\"");
    const size_t colon = part.substr(0, name_end).find(':');
    if (colon != std::string::npos) {
      module = part.substr(0, colon);
      part.erase(0, colon + 1);
    }
    modules.insert(module);
    const bool is_name = part.compare(0, 1, ".") != 0 && !module.empty();
    text += path[begin];
    if (is_name) text.append(module).append(":");
    text += part;
    begin = end;
  }
  std::string declarations;
  for (const std::string& prefix : modules) {
    const lys_module* found = ly_ctx_get_module_implemented(context, prefix.c_str());
    if (found != nullptr) {
      declarations.append(" xmlns:")
          .append(prefix)
          .append("=\"")
          .append(EscapeXml(found->ns))
          .append("\"");
    }
  }
  return "<" + name + attributes + declarations + ">" + EscapeXml(text) + "</" + name + ">";
}

}  // namespace host
