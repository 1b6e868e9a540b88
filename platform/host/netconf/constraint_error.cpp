#include "netconf/constraint_error.h"

#include <sstream>
#include <string>

namespace host {

namespace {

/// How libyang begins to tell that what a `when` keeps out is there.
constexpr char kCondition[] = "When condition ";

/// The first quoted part of a text, empty when there is none.
std::string QuotedIn(const std::string& text) {
  const size_t begin = text.find('"');
  const size_t end = text.find('"', begin + 1);
  return end == std::string::npos ? "" : text.substr(begin + 1, end - begin - 1);
}

/// Where the name of the element that a path of libyang's leads to begins and ends; keys are
/// quoted.
struct NamePlace {
  size_t begin = 0;
  size_t end = 0;
};

NamePlace LastNameIn(const std::string& path) {
  NamePlace name;
  char quote = '\0';
  bool is_key = false;
  for (size_t i = 0; i < path.size(); ++i) {
    const char c = path[i];
    if (quote != '\0') {
      if (c == quote) quote = '\0';
    } else if (c == '\'' || c == '"') {
      quote = c;
    } else if (c == '[' || c == ']') {
      is_key = c == '[';
    } else if (!is_key && (c == '/' || c == ':')) {
      name.begin = i + 1;
    } else if (!is_key) {
      name.end = i + 1;
    }
  }
  return name;
}

/// What a condition keeps out is no element of the models there (RFC 7950, section 8.3.2).
RpcError KeptOut(const Refusal& refusal) {
  const NamePlace name = LastNameIn(refusal.Path());
  return RpcError("application",
                  Refusal("unknown-element", refusal.Path(), refusal.what(), refusal.AppTag()))
      .With("bad-element", refusal.Path().substr(name.begin, name.end - name.begin));
}

}  // namespace

RpcError ConstraintError(const Refusal& refusal) {
  if (std::string(refusal.what()).compare(0, sizeof kCondition - 1, kCondition) == 0) {
    return KeptOut(refusal);
  }
  RpcError error("application", refusal);
  if (refusal.AppTag() == "too-many-elements") {
    return error.At(refusal.Path().substr(0, LastNameIn(refusal.Path()).end));
  }
  // libyang names the choice, or the leafs of a unique statement, before anything else.
  const std::string named = QuotedIn(refusal.what());
  if (named.empty()) return error;
  if (refusal.AppTag() == "missing-choice") return error.WithYang("missing-choice", named);
  if (refusal.AppTag() != "data-not-unique") return error;
  std::istringstream leafs(named);
  for (std::string leaf; leafs >> leaf;) {
    error = error.WithYang("non-unique", refusal.Path() + "/" + leaf);
  }
  return error;
}

}  // namespace host
