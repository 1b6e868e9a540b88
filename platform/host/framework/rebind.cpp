#include <string>
#include <vector>

#include "confd/error.h"
#include "confd_maapi.h"
#include "framework/framework.h"
#include "runtime/process.h"

namespace host {

namespace {

/// How many failed listeners a text names; with thousands it stays readable.
constexpr size_t kNamedFailures = 8;

std::string FailureText(const std::vector<ListenerFailure>& failures) {
  std::string text;
  for (size_t i = 0; i < failures.size() && i < kNamedFailures; ++i) {
    text += (i == 0 ? "" : ", ") + ToText(failures[i].endpoint) + ": " + failures[i].reason;
  }
  if (failures.size() > kNamedFailures) {
    text += ", and " + std::to_string(failures.size() - kNamedFailures) + " more";
  }
  return text;
}

}  // namespace

}  // namespace host

int maapi_rebind_listener(int /*sock*/, int listener) {
  if (listener != CONFD_LISTENER_SNMP) {
    return common::Fail(CONFD_ERR_EXTERNAL, "no listener " + std::to_string(listener));
  }
  host::Framework* const framework = host::ThisProcess().framework;
  if (framework == nullptr) {
    return common::Fail(CONFD_ERR_NOSESSION, "no configuration is loaded");
  }
  const std::vector<host::ListenerFailure> failures = framework->RebindAgent();
  if (!failures.empty()) {
    return common::Fail(CONFD_ERR_EXTERNAL, host::FailureText(failures));
  }
  common::ClearError();
  return CONFD_OK;
}
