// What this platform can do of ietf-netconf's optional parts.
#pragma once

namespace host {

struct NetconfFeature {
  const char* name;        ///< Of the model's feature.
  const char* capability;  ///< What sessions are told (RFC 6241, section 8).
};

constexpr NetconfFeature kNetconfFeatures[] = {
    {"writable-running", "urn:ietf:params:netconf:capability:writable-running:1.0"},
    {"candidate", "urn:ietf:params:netconf:capability:candidate:1.0"},
    {"confirmed-commit", "urn:ietf:params:netconf:capability:confirmed-commit:1.1"},
    {"rollback-on-error", "urn:ietf:params:netconf:capability:rollback-on-error:1.0"},
    {"startup", "urn:ietf:params:netconf:capability:startup:1.0"},
    {"validate", "urn:ietf:params:netconf:capability:validate:1.1"},
    {"xpath", "urn:ietf:params:netconf:capability:xpath:1.0"},
};

}  // namespace host
