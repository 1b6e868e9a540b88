#include "config/tree.h"

#include <cstdlib>
#include <new>
#include <stdexcept>

namespace host {

namespace {

struct FreeText {
  void operator()(char* text) const { free(text); }
};

struct FreeInput {
  void operator()(ly_in* input) const { ly_in_free(input, 0); }
};

std::string WithoutFullStop(const char* text) {
  std::string result = text;
  if (!result.empty() && result.back() == '.') result.pop_back();
  return result;
}

/// libyang reads a text as a C string and stops behind the first value; an empty one it takes for
/// an empty configuration. A file cut short or written twice must not pass for a whole one.
void CheckWhole(const std::string& text, size_t parsed) {
  const size_t rest = text.find_first_not_of(" \t\r\n", parsed);
  if (text.find_first_not_of(" \t\r\n") == std::string::npos) {
    throw std::runtime_error("there is no content, not even an empty object {}");
  }
  if (rest != std::string::npos) {
    throw std::runtime_error("there is more behind the end of the configuration, at byte " +
                             std::to_string(rest));
  }
}

struct FreeSet {
  void operator()(ly_set* set) const { ly_set_free(set, nullptr); }
};

/// Of a mandatory element that is missing, libyang tells the place in the schema: the first of
/// possibly thousands of rows that lack it, as the end of a sentence.
std::string FindLackingRow(const lyd_node* tree, const std::string& schema_path) {
  const size_t slash = schema_path.rfind('/');
  const std::string expression =
      schema_path.substr(0, slash) + "[not(" + schema_path.substr(slash + 1) + ")]";
  ly_set* found = nullptr;
  if (lyd_find_xpath(tree, expression.c_str(), &found) != LY_SUCCESS) return "";
  const std::unique_ptr<ly_set, FreeSet> rows(found);
  if (rows->count == 0) return "";
  const std::unique_ptr<char, FreeText> path(lyd_path(rows->dnodes[0], LYD_PATH_STD, nullptr, 0));
  return path == nullptr ? "" : std::string(" in ") + path.get();
}

/// The path in an error's place of the form `Schema location "path".`, else an empty text.
std::string SchemaPathOf(const ly_err_item* error) {
  const std::string place = error == nullptr || error->path == nullptr ? "" : error->path;
  const std::string start = "Schema location \"";
  if (place.compare(0, start.size(), start) != 0) return "";
  return place.substr(start.size(), place.find('"', start.size()) - start.size());
}

}  // namespace

std::string TakeErrors(ly_ctx* context) {
  std::string text;
  for (const ly_err_item* error = ly_err_first(context); error != nullptr; error = error->next) {
    if (!text.empty()) text += "; ";
    text += WithoutFullStop(error->msg == nullptr ? "out of memory" : error->msg);
    if (error->path != nullptr) text += " (" + WithoutFullStop(error->path) + ")";
  }
  ly_err_clean(context, nullptr);
  return text.empty() ? "libyang gives no reason" : text;
}

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
  ly_in* opened = nullptr;
  if (ly_in_new_memory(text.c_str(), &opened) != LY_SUCCESS) throw std::bad_alloc();
  const std::unique_ptr<ly_in, FreeInput> input(opened);
  lyd_node* parsed = nullptr;
  const LY_ERR result =
      lyd_parse_data(context, nullptr, input.get(), LYD_JSON,
                     LYD_PARSE_ONLY | LYD_PARSE_STRICT | LYD_PARSE_NO_STATE, 0, &parsed);
  Tree tree(parsed);
  if (result != LY_SUCCESS) throw std::runtime_error(TakeErrors(context));
  CheckWhole(text, ly_in_parsed(input.get()));
  return tree;
}

void AddDefaults(ly_ctx* context, Tree* tree) {
  lyd_node* first = tree->release();
  const LY_ERR result = lyd_new_implicit_all(&first, context, LYD_IMPLICIT_NO_STATE, nullptr);
  tree->reset(first);
  if (result != LY_SUCCESS) throw std::runtime_error(TakeErrors(context));
}

void ValidateTree(ly_ctx* context, Tree* tree) {
  lyd_node* first = tree->release();
  const LY_ERR result = lyd_validate_all(&first, context, LYD_VALIDATE_NO_STATE, nullptr);
  tree->reset(first);
  if (result == LY_SUCCESS) return;
  const std::string schema_path = SchemaPathOf(ly_err_first(context));
  const std::string reasons = TakeErrors(context);
  const std::string row = schema_path.empty() ? "" : FindLackingRow(first, schema_path);
  ly_err_clean(context, nullptr);
  throw std::runtime_error(reasons + row);
}

std::string PrintTree(const lyd_node* tree) {
  char* text = nullptr;
  if (lyd_print_mem(&text, tree, LYD_JSON, LYD_PRINT_WITHSIBLINGS) != LY_SUCCESS) {
    throw std::runtime_error("printing the configuration failed");
  }
  const std::unique_ptr<char, FreeText> owned(text);
  return text == nullptr ? "{}\n" : text;
}

}  // namespace host
