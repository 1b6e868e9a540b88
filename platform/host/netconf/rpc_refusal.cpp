#include "netconf/rpc_refusal.h"

#include <cstring>

#include "config/expression_limit.h"
#include "config/type_words.h"
#include "config/yang_data.h"

namespace host {

namespace {

/// What libyang says, and what that is among the protocol's errors.
struct KnownRefusal {
  const char* text;  ///< In libyang's message.
  const char* tag;
  const char* info;  ///< The element for what stands in quotes in the message; null for none.
};

constexpr char kWithinLeaf[] = "inside a terminal node";

constexpr KnownRefusal kKnown[] = {
    {"Missing the operation node", "missing-element", nullptr},
    {"Mandatory ", "missing-element", "bad-element"},
    {"not found as a child of", "unknown-element", "bad-element"},
    {"not found in the", "unknown-element", "bad-element"},
    {"Unexpected child element", "unknown-element", "bad-element"},
    {"No module with namespace", "unknown-namespace", "bad-namespace"},
    {"Data for both cases", "bad-element", "bad-element"},
    // One that has another key twice; what lacks a key is told by the edit.
    {"List instance is missing its key", "bad-element", "bad-element"},
    {"Duplicate instance of", "bad-element", "bad-element"},
    {kWithinLeaf, "unknown-element", "bad-element"},
    {"inside an inner node", "invalid-value", nullptr},
    {"inside an anydata node", "invalid-value", nullptr},
    {kExpressionTooLong, "too-big", nullptr},
};

/// Choices are no elements: what a request without any of their cases lacks.
constexpr const char* kChoices[][2] = {
    {"config-target", "target"}, {"config-source", "source"}, {"edit-content", "config"}};

/// And of <get-config>, the other one with a filter.
constexpr char kGet[] = "/ietf-netconf:get";
constexpr char kSubscription[] = "/notifications:create-subscription";

constexpr char kDeleteConfig[] = "/ietf-netconf:delete-config";

/// A text without its quoted parts, which are the client's.
std::string WithoutQuoted(const std::string& text) {
  std::string rest;
  bool is_quoted = false;
  for (const char c : text) {
    if (c == '"') {
      is_quoted = !is_quoted;
    } else if (!is_quoted) {
      rest += c;
    }
  }
  return rest;
}

/// The element's or attribute's name in what libyang quotes, which may have its module's before it.
std::string NameIn(const std::string& name) {
  for (const auto& choice : kChoices) {
    if (name == choice[0]) return choice[1];
  }
  return name.substr(name.rfind(':') + 1);
}

/// What is left of a place in a request when that is in a configuration: libyang has both in one.
std::string ContentPath(const std::string& path) {
  const std::string own = "ietf-netconf";
  for (size_t at = path.find('/', 1); at < path.size(); at = path.find('/', at + 1)) {
    const bool is_other_module = path.find(':', at) < path.find('/', at + 1);
    if (is_other_module && path.compare(at + 1, own.size(), own) != 0) return path.substr(at);
  }
  return path;
}

/// Null for what is no leaf.
const lysc_node* LeafAt(const ly_ctx* context, const std::string& path) {
  // Of the operations' own leafs; libyang does not find what stands in anything else.
  if (path.empty() || path.find('[') != std::string::npos) return nullptr;
  const lysc_node* node = lys_find_path(context, nullptr, path.c_str(), 0);
  ly_err_clean(const_cast<ly_ctx*>(context), nullptr);
  return node != nullptr && (node->nodetype & LYD_NODE_TERM) != 0 ? node : nullptr;
}

/// A value that its type does not take: of a leaf or, as the place is not that of a leaf, of one of
/// the attributes that are read as more than a word, which are expressions.
/// `told` is libyang's message alone.
RpcError BadValue(const ly_ctx* context, const std::string& told, const std::string& reason,
                  const std::string& path) {
  const lysc_node* leaf = LeafAt(context, path);
  if (leaf == nullptr) {
    const bool is_in_filter = path.compare(0, sizeof kGet - 1, kGet) == 0 ||
                              path.compare(0, sizeof kSubscription - 1, kSubscription) == 0;
    const RpcError error("protocol", "bad-attribute", reason);
    if (!is_in_filter) return error.With("bad-attribute", "key");
    return error.With("bad-attribute", "select").With("bad-element", "filter");
  }
  const std::string name = leaf->name;
  return RpcError("protocol", "invalid-value",
                  name + ": " + WhyNotTaken(leaf, told.c_str(), Notation::kXml))
      .At(path)
      .With("bad-element", name);
}

}  // namespace

RpcError TakeRequestError(ly_ctx* context) {
  const ly_err_item* first = ly_err_first(context);
  if (first == nullptr) return {"protocol", "operation-failed", TakeErrors(context)};
  const std::string text = first->msg == nullptr ? "" : first->msg;
  const std::string path = DataPathOf(first);
  const LY_VECODE code = first->vecode;
  const std::string reason = TakeErrors(context);
  const std::string said = WithoutQuoted(text);
  if (code != LYVE_SYNTAX && path.compare(0, sizeof kDeleteConfig - 1, kDeleteConfig) == 0) {
    return {"protocol", "operation-not-supported",
            "only the start-up datastore can be deleted: " + reason};
  }
  for (const KnownRefusal& known : kKnown) {
    if (said.find(known.text) == std::string::npos) continue;
    const bool is_within_leaf = strcmp(known.text, kWithinLeaf) == 0;
    RpcError error("protocol", known.tag, reason);
    if (is_within_leaf) error = error.At(ContentPath(path));
    if (known.info == nullptr) return error;
    const bool is_namespace = strcmp(known.info, "bad-namespace") == 0;
    return error.With(known.info, is_namespace ? QuotedIn(text) : NameIn(QuotedIn(text)));
  }
  if (code == LYVE_SYNTAX || said.find("Unknown XML prefix") != std::string::npos) {
    return {"rpc", "malformed-message", "this is no request: " + reason};
  }
  return BadValue(context, text, reason, path);
}

}  // namespace host
