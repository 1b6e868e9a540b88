#include "netconf/attributes.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "config/default_mark.h"
#include "netconf/envelope.h"

namespace host {

namespace {

constexpr char kYangNamespace[] = "urn:ietf:params:xml:ns:yang:1";
constexpr char kPlatformNamespace[] = "urn:snmp-app:platform";

struct KnownAttribute {
  ElementPlace place;
  const char* ns;
  const char* name;
  const char* values;  ///< Each between blanks; null for any.
};

constexpr KnownAttribute kKnownAttributes[] = {
    {ElementPlace::kFilter, "", "type", " subtree xpath "},
    {ElementPlace::kFilter, "", "select", nullptr},
    {ElementPlace::kFilter, kNetconfNamespace, "type", " subtree xpath "},
    {ElementPlace::kFilter, kNetconfNamespace, "select", nullptr},
    {ElementPlace::kConfiguration, kNetconfNamespace, "operation",
     " merge replace create delete remove "},
    {ElementPlace::kConfiguration, kYangNamespace, "insert", " first last before after "},
    {ElementPlace::kConfiguration, kYangNamespace, "key", nullptr},
    {ElementPlace::kConfiguration, kYangNamespace, "value", nullptr},
    {ElementPlace::kConfiguration, kDefaultNamespace, "default", " true false 1 0 "},
    {ElementPlace::kConfiguration, kPlatformNamespace, "written-by", " system "},
};

const KnownAttribute* Find(const MessageAttribute& attribute, ElementPlace place) {
  const auto* found = std::find_if(
      std::begin(kKnownAttributes), std::end(kKnownAttributes), [&](const KnownAttribute& known) {
        return known.place == place && known.ns == attribute.ns && known.name == attribute.name;
      });
  return found == std::end(kKnownAttributes) ? nullptr : found;
}

bool Takes(const KnownAttribute& known, const std::string& value) {
  return known.values == nullptr || (value.find(' ') == std::string::npos &&
                                     strstr(known.values, (" " + value + " ").c_str()) != nullptr);
}

/// Of an XPath expression. In a literal the character is none of a variable.
bool HasVariable(const std::string& expression) {
  char quote = '\0';
  for (const char c : expression) {
    if (quote != '\0') {
      if (c == quote) quote = '\0';
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '$') {
      return true;
    }
  }
  return false;
}

RpcError Refused(const char* tag, const std::string& reason, const MessageAttribute& attribute,
                 const std::string& element) {
  return RpcError("protocol", tag, reason)
      .With("bad-attribute", attribute.name)
      .With("bad-element", element);
}

}  // namespace

void CheckAttribute(const MessageAttribute& attribute, ElementPlace place,
                    const std::string& element) {
  const KnownAttribute* known = Find(attribute, place);
  if (known == nullptr) {
    const std::string ns = attribute.ns.empty() ? "no namespace" : "namespace " + attribute.ns;
    throw Refused("unknown-attribute",
                  element + " has no attribute " + attribute.name + " of " + ns + " here",
                  attribute, element);
  }
  // Nobody can bind any (RFC 6241, 8.9.1), and libyang takes them for elements.
  if (attribute.name == "select" && HasVariable(attribute.value)) {
    throw Refused("invalid-value", "an expression here has no variables", attribute, element);
  }
  if (Takes(*known, attribute.value)) return;
  throw Refused("bad-attribute",
                "attribute " + attribute.name + " of " + element + " is one of" + known->values +
                    "and not \"" + attribute.value + "\"",
                attribute, element);
}

}  // namespace host
