#include "config/tree.h"

#include <stdexcept>

#include "config/lacking.h"
#include "config/parse_refusal.h"

namespace host {

namespace {

/// libyang reads a text as a C string and stops behind the first value; an empty one it takes for
/// an empty configuration. A file cut short or written twice must not pass for a whole one.
void CheckWhole(const std::string& text, size_t parsed) {
  const size_t rest = text.find_first_not_of(" \t\r\n", parsed);
  if (text.find_first_not_of(" \t\r\n") == std::string::npos) {
    throw Refusal(kNotTaken, "", "there is no content, not even an empty object {}");
  }
  if (rest != std::string::npos) {
    throw Refusal(
        kNotTaken, "",
        "there is more behind the end of the configuration, at byte " + std::to_string(rest));
  }
}

}  // namespace

Tree CopyTree(const lyd_node* tree) {
  if (tree == nullptr) return nullptr;
  lyd_node* copy = nullptr;
  if (lyd_dup_siblings(tree, nullptr, LYD_DUP_RECURSIVE | LYD_DUP_WITH_FLAGS, &copy) !=
      LY_SUCCESS) {
    throw std::runtime_error("copying the configuration failed: " +
                             TakeErrors(tree->schema->module->ctx));
  }
  return Tree(copy);
}

Tree ParseTree(ly_ctx* context, const std::string& text) {
  const Input input(text);
  Tree tree =
      ParseData(context, input, LYD_JSON, LYD_PARSE_STRICT | LYD_PARSE_NO_STATE, TakeParseRefusal);
  CheckWhole(text, input.Parsed());
  return tree;
}

void AddDefaults(ly_ctx* context, Tree* tree) {
  lyd_node* first = tree->release();
  const LY_ERR result = lyd_new_implicit_all(&first, context, LYD_IMPLICIT_NO_STATE, nullptr);
  tree->reset(first);
  if (result != LY_SUCCESS) throw TakeRefusal(context);
}

void ValidateTree(ly_ctx* context, Tree* tree) {
  lyd_node* first = tree->release();
  const LY_ERR result = lyd_validate_all(&first, context, LYD_VALIDATE_NO_STATE, nullptr);
  tree->reset(first);
  if (result == LY_SUCCESS) return;
  // Of what is missing, libyang tells the place in the schema: thousands of rows may have it.
  const std::string schema_path = SchemaPathOf(ly_err_first(context));
  const Refusal refusal = TakeRefusal(context);
  const Lacking lacking = FindLacking(context, first, schema_path);
  if (lacking.path.empty()) throw Refusal(refusal);
  const std::string in_row = lacking.row == nullptr ? "" : " in " + PathOf(lacking.row);
  throw Refusal(refusal.Tag(), lacking.path, refusal.what() + in_row, refusal.AppTag());
}

std::string PrintTree(const lyd_node* tree) {
  const std::string text = PrintData(tree, LYD_JSON, 0);
  return text.empty() ? "{}\n" : text;
}

}  // namespace host
