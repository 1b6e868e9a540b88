#include "netconf/schema_request.h"

#include <vector>

#include "netconf/rpc_error.h"
#include "netconf/yang_library.h"

namespace host {

namespace {

/// As libyang has the identity in the value of a leaf.
constexpr char kYang[] = "ietf-netconf-monitoring:yang";

RpcError BadValue(const char* element, const std::string& reason) {
  return RpcError("protocol", "invalid-value", reason).With("bad-element", element);
}

bool IsRevision(const lys_module* module, const std::string& version) {
  return version == (module->revision == nullptr ? "" : module->revision);
}

}  // namespace

const lys_module* FindSchema(const ly_ctx* context, const std::string& name,
                             const lyd_node* version, const std::string& format) {
  if (!format.empty() && format != kYang) {
    throw BadValue("format", "models are told as YANG only, not as " + format);
  }
  std::vector<const lys_module*> named;
  std::vector<const lys_module*> meant;
  for (const lys_module* module : ToldModels(context)) {
    if (name != module->name) continue;
    named.push_back(module);
    if (version == nullptr || IsRevision(module, lyd_get_value(version))) meant.push_back(module);
  }
  if (named.empty()) throw BadValue("identifier", "there is no schema " + name);
  if (meant.empty()) {
    throw BadValue("version", "there is no version " + std::string(lyd_get_value(version)) +
                                  " of schema " + name);
  }
  if (meant.size() == 1) return meant.front();
  throw RpcError("protocol", "operation-failed", "schema " + name + " is there in several versions")
      .WithAppTag("data-not-unique");
}

}  // namespace host
