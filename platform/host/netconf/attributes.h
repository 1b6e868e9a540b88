// Attributes of requests.
#pragma once

#include <string>

#include "netconf/rpc_error.h"

namespace host {

/// Where in a request an element stands.
enum class ElementPlace {
  kFilter,         ///< It is a <filter>.
  kConfiguration,  ///< Within a <config>.
  kOther,
};

/// As it is meant: references are resolved, and line ends are blanks (XML 1.0, 3.3.3).
struct MessageAttribute {
  std::string prefix;
  std::string ns;  ///< Empty for none.
  std::string name;
  std::string value;
};

/// Throws RpcError, unknown-attribute, bad-attribute, or invalid-value for variables, unless an
/// element at that place has such an attribute with such a value: how a filter selects (RFC
/// 6241, 6.2 and 8.9.5), and in a configuration what is done to the element (RFC 6241, 7.2; RFC
/// 7950, 7.7.9 and 7.8.6), that its value is the default (RFC 6243, 4.5.2), and that the system
/// wrote it. `element` is the element's name.
void CheckAttribute(const MessageAttribute& attribute, ElementPlace place,
                    const std::string& element);

}  // namespace host
