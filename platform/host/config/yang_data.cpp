#include "config/yang_data.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "runtime/memory_or_end.h"

namespace host {

namespace {

struct FreeText {
  void operator()(char* text) const { free(text); }
};

using Text = std::unique_ptr<char, FreeText>;

/// Text that grows in memory. libyang's own printer into memory goes on when it gets none, and
/// begins anew; a file remembers it.
class PrintedText {
 public:
  PrintedText() : file_(open_memstream(&text_, &size_)) {
    if (file_ == nullptr) RefuseMemory();
  }
  ~PrintedText() {
    if (file_ != nullptr) fclose(file_);
    free(text_);
  }
  PrintedText(const PrintedText&) = delete;
  PrintedText& operator=(const PrintedText&) = delete;

  FILE* File() const { return file_; }

  /// All of it, once; throws std::bad_alloc where it is not whole.
  std::string Take(bool is_printed) {
    const bool has_failed = ferror(file_) != 0;
    const bool is_closed = fclose(file_) == 0;
    file_ = nullptr;
    if (!is_printed || has_failed || !is_closed) RefuseMemory();
    return {text_, size_};
  }

 private:
  char* text_ = nullptr;
  size_t size_ = 0;
  FILE* file_;
};

ly_ctx* ContextOf(const lyd_node* node) { return node->schema->module->ctx; }

const lyd_node_opaq* AsOpaque(const lyd_node* node) {
  return reinterpret_cast<const lyd_node_opaq*>(node);
}

const char* OrEmpty(const char* text) { return text == nullptr ? "" : text; }

std::string WithoutFullStop(const char* text) {
  std::string result = text;
  if (!result.empty() && result.back() == '.') result.pop_back();
  return result;
}

/// libyang tells a place as `KIND location "PATH", line number N.`, and quotes in the path are as
/// they are.
std::string PathIn(const ly_err_item* error, const std::string& kind) {
  const std::string place = OrEmpty(error == nullptr ? nullptr : error->path);
  const std::string start = kind + " location \"";
  if (place.compare(0, start.size(), start) != 0) return "";
  return place.substr(start.size(), place.rfind('"') - start.size());
}

/// An error that there was no memory for is not kept either, so none at all counts, too.
bool LacksMemory(const ly_ctx* context) {
  const ly_err_item* error = ly_err_first(context);
  if (error == nullptr) return true;
  while (error != nullptr && error->no != LY_EMEM) error = error->next;
  return error != nullptr;
}

/// Of a search. A value that its type refuses is nobody's; the refusal must not pile up in the
/// context. What could not be looked for, for want of memory, must not pass for absent.
bool WasFound(LY_ERR result, ly_ctx* context) {
  if (result != LY_SUCCESS && result != LY_ENOTFOUND) static_cast<void>(TakeRefusal(context));
  return result == LY_SUCCESS;
}

/// The tag that goes with an error-app-tag (RFC 7950, section 15).
const char* TagWith(const std::string& app_tag, const char* other) {
  const bool lacks_data = app_tag == "instance-required" || app_tag == "missing-choice";
  return lacks_data ? "data-missing" : other;
}

/// The expressions of a type refuse what they have no memory for, and nothing tells that, so what
/// seems to be no value of the type is looked for by its text.
lyd_node* FindText(const lyd_node* siblings, const lysc_node* element, const std::string& value) {
  for (const lyd_node* node = siblings; node != nullptr; node = node->next) {
    if (node->schema == element && value == lyd_get_value(node)) return const_cast<lyd_node*>(node);
  }
  return nullptr;
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

Refusal TakeRefusal(ly_ctx* context, const char* tag) {
  if (LacksMemory(context)) {
    ly_err_clean(context, nullptr);
    RefuseMemory();
  }
  std::string path;
  std::string app_tag;
  for (const ly_err_item* error = ly_err_first(context); error != nullptr; error = error->next) {
    if (path.empty()) path = DataPathOf(error);
    if (app_tag.empty()) app_tag = OrEmpty(error->apptag);
  }
  return {TagWith(app_tag, tag), path, TakeErrors(context), app_tag};
}

std::string DataPathOf(const ly_err_item* error) { return PathIn(error, "Data"); }

std::string SchemaPathOf(const ly_err_item* error) { return PathIn(error, "Schema"); }

std::string QuotedIn(const std::string& text) {
  const size_t begin = text.find('"');
  const size_t end = text.find('"', begin + 1);
  return end == std::string::npos ? "" : text.substr(begin + 1, end - begin - 1);
}

Input::Input(const std::string& text) {
  ly_in* opened = nullptr;
  if (ly_in_new_memory(text.c_str(), &opened) != LY_SUCCESS) RefuseMemory();
  input_.reset(opened);
}

Tree ParseData(ly_ctx* context, const Input& input, LYD_FORMAT format, uint32_t options,
               RefusalTaker take) {
  lyd_node* parsed = nullptr;
  const LY_ERR result =
      lyd_parse_data(context, nullptr, input.Get(), format, LYD_PARSE_ONLY | options, 0, &parsed);
  Tree tree(parsed);
  if (result != LY_SUCCESS) throw take == nullptr ? TakeRefusal(context) : take(context);
  return tree;
}

std::string PrintData(const lyd_node* first, LYD_FORMAT format, uint32_t options) {
  PrintedText text;
  const LY_ERR result =
      lyd_print_file(text.File(), first, format, LYD_PRINT_WITHSIBLINGS | options);
  return text.Take(result == LY_SUCCESS);
}

std::string PrintModel(const lys_module* module) {
  char* text = nullptr;
  if (lys_print_mem(&text, module, LYS_OUT_YANG, 0) != LY_SUCCESS) RefuseMemory();
  const Text owned(text);
  return OrEmpty(text);
}

std::string PathOf(const lyd_node* node) {
  if (node == nullptr) return "";
  const Text path(lyd_path(node, LYD_PATH_STD, nullptr, 0));
  return OrEmpty(path.get());
}

std::string PathBelow(const lyd_node* parent, const lysc_node* element) {
  const bool is_same_module = parent != nullptr && parent->schema->module == element->module;
  return PathOf(parent) + "/" + (is_same_module ? "" : std::string(element->module->name) + ":") +
         element->name;
}

const char* NameOf(const lyd_node* node) {
  return node->schema == nullptr ? AsOpaque(node)->name.name : node->schema->name;
}

const char* NamespaceOf(const lyd_node* node) {
  return node->schema == nullptr ? OrEmpty(AsOpaque(node)->name.module_ns)
                                 : node->schema->module->ns;
}

const char* ValueOf(const lyd_node* node) {
  if (node->schema == nullptr) return OrEmpty(AsOpaque(node)->value);
  return (node->schema->nodetype & LYD_NODE_TERM) == 0 ? "" : lyd_get_value(node);
}

bool Means(const lyd_node* node, const lysc_node* element) {
  if (node->schema != nullptr) return node->schema == element;
  return strcmp(NameOf(node), element->name) == 0 &&
         strcmp(NamespaceOf(node), element->module->ns) == 0;
}

const lyd_node* FindNamed(const lyd_node* siblings, const std::string& name) {
  for (const lyd_node* node = siblings; node != nullptr; node = node->next) {
    if (node->schema != nullptr && name == node->schema->name) return node;
  }
  return nullptr;
}

lyd_node* FindFirst(const lyd_node* siblings, const lysc_node* element) {
  return FindValue(siblings, element, nullptr);
}

lyd_node* FindValue(const lyd_node* siblings, const lysc_node* element, const std::string* value) {
  lyd_node* found = nullptr;
  if (siblings == nullptr) return nullptr;
  const LY_ERR result =
      lyd_find_sibling_val(siblings, element, value == nullptr ? nullptr : value->c_str(),
                           value == nullptr ? 0 : value->size(), &found);
  if (WasFound(result, element->module->ctx)) return found;
  const bool is_refused = result != LY_ENOTFOUND && element->nodetype == LYS_LEAFLIST;
  return is_refused && value != nullptr ? FindText(siblings, element, *value) : nullptr;
}

lyd_node* FindSame(const lyd_node* siblings, const lyd_node* node) {
  lyd_node* found = nullptr;
  if (siblings == nullptr) return nullptr;
  const LY_ERR result = lyd_find_sibling_first(siblings, node, &found);
  return WasFound(result, ContextOf(siblings)) ? found : nullptr;
}

const lyd_meta* FindMeta(const lyd_node* node, const char* model, const char* name) {
  for (const lyd_meta* meta = node->meta; meta != nullptr; meta = meta->next) {
    if (strcmp(meta->name, name) == 0 && strcmp(meta->annotation->module->name, model) == 0) {
      return meta;
    }
  }
  return nullptr;
}

const lyd_node* NextEntry(const lyd_node* entry) {
  const lyd_node* next = entry->next;
  return next != nullptr && next->schema == entry->schema ? next : nullptr;
}

Tree CopyNode(const lyd_node* node, uint32_t options) {
  lyd_node* copy = nullptr;
  if (lyd_dup_single(node, nullptr, options, &copy) != LY_SUCCESS) {
    throw TakeRefusal(ContextOf(node));
  }
  return Tree(copy);
}

lyd_node* Insert(Tree* tree, lyd_node* parent, Tree node) {
  LY_ERR result = LY_SUCCESS;
  if (parent != nullptr) {
    result = lyd_insert_child(parent, node.get());
  } else {
    lyd_node* first = tree->release();
    result = lyd_insert_sibling(first, node.get(), &first);
    tree->reset(first);
  }
  if (result != LY_SUCCESS) throw TakeRefusal(ContextOf(node.get()));
  return node.release();
}

void InsertAll(Tree* tree, Tree nodes) {
  while (nodes != nullptr) {
    lyd_node* node = nodes.release();
    nodes.reset(node->next);
    lyd_unlink_tree(node);
    Insert(tree, nullptr, Tree(node));
  }
}

void Remove(Tree* tree, lyd_node* node) {
  if (node == tree->get()) {
    lyd_node* rest = node->next;
    static_cast<void>(tree->release());
    lyd_unlink_tree(node);
    tree->reset(rest);
  }
  lyd_free_tree(node);
}

void SetValue(lyd_node* leaf, const char* text) {
  const LY_ERR result = lyd_change_term(leaf, text);
  // The value may be as before: explicit now, or so already.
  const bool is_taken = result == LY_SUCCESS || result == LY_EEXIST || result == LY_ENOT;
  if (!is_taken) throw TakeRefusal(ContextOf(leaf), "invalid-value");
}

}  // namespace host
