// libyang's calls as this platform makes them: what they give is owned, what they refuse is thrown.
#pragma once

#include <libyang/libyang.h>

#include <cstdint>
#include <memory>
#include <string>

#include "config/refusal.h"

namespace host {

struct FreeSiblings {
  void operator()(lyd_node* node) const { lyd_free_all(node); }
};

/// Owns the first top-level node of a configuration and with it all the others; null is a
/// configuration without any node. Its schema must outlive it.
using Tree = std::unique_ptr<lyd_node, FreeSiblings>;

/// A configuration that several readers share and nobody changes any more.
using SharedTree = std::shared_ptr<const lyd_node>;

// What libyang has against something.

/// All that it has to say about the last failed call on `context`, as "reason (place)" for each of
/// its errors; forgets them. Never empty.
std::string TakeErrors(ly_ctx* context);

/// The same with the path and the error-app-tag that it tells. The tag is the one of RFC 7950,
/// section 15, for these, else `tag`. Throws std::bad_alloc when it is memory that was lacking,
/// which says nothing about the data.
Refusal TakeRefusal(ly_ctx* context, const char* tag = kNotTaken);

/// The data path of one of its errors, empty when it tells another place or none.
std::string DataPathOf(const ly_err_item* error);

/// The same of a place in the schema, in which choices and cases are steps, too.
std::string SchemaPathOf(const ly_err_item* error);

/// The first part of a text that stands between double quotes, empty when there is none.
std::string QuotedIn(const std::string& text);

// Texts.

/// A text that libyang reads; it must outlive the object.
class Input {
 public:
  explicit Input(const std::string& text);

  ly_in* Get() const { return input_.get(); }

  /// How much of the text was read, in bytes.
  size_t Parsed() const { return ly_in_parsed(input_.get()); }

 private:
  struct FreeInput {
    void operator()(ly_in* input) const { ly_in_free(input, 0); }
  };

  std::unique_ptr<ly_in, FreeInput> input_;
};

/// Takes what libyang has against a text.
using RefusalTaker = Refusal (*)(ly_ctx* context);

/// Reads data without validating it; `options` are LYD_PARSE_... beside LYD_PARSE_ONLY. Throws
/// the Refusal that `take` makes, null for TakeRefusal().
Tree ParseData(ly_ctx* context, const Input& input, LYD_FORMAT format, uint32_t options,
               RefusalTaker take = nullptr);

/// A node with its siblings; `options` are LYD_PRINT_.... Empty for null.
std::string PrintData(const lyd_node* first, LYD_FORMAT format, uint32_t options);

/// The source of a model, in YANG.
std::string PrintModel(const lys_module* module);

/// The path of a node as libyang has it, empty for null.
std::string PathOf(const lyd_node* node);

/// The path of an element below `parent`, null at the top, without keys.
std::string PathBelow(const lyd_node* parent, const lysc_node* element);

// Names. Nodes that libyang could not take as elements of the models have them, too; it calls them
// opaque. The texts are the nodes'.

const char* NameOf(const lyd_node* node);

/// Of the element's model; empty when there is none.
const char* NamespaceOf(const lyd_node* node);

/// The text of a leaf, or of an opaque node; empty for others.
const char* ValueOf(const lyd_node* node);

/// Whether a node, opaque or not, is meant as that element.
bool Means(const lyd_node* node, const lysc_node* element);

// Finding nodes among siblings, given the first one; null when it is not there, or no sibling is.

/// By the name that the model gives it; opaque nodes are passed over.
const lyd_node* FindNamed(const lyd_node* siblings, const std::string& name);

/// The first one of an element.
lyd_node* FindFirst(const lyd_node* siblings, const lysc_node* element);

/// The entry of a list or leaf-list that `value` stands for, as libyang has it; the first of the
/// element where that is null. Throws std::bad_alloc, as all of these do: lack of memory says
/// nothing about what is there.
lyd_node* FindValue(const lyd_node* siblings, const lysc_node* element, const std::string* value);

/// The leaf, container or entry that is the same one as `node`, which is of another tree.
lyd_node* FindSame(const lyd_node* siblings, const lyd_node* node);

/// The entry behind one of a list or leaf-list, null behind the last one.
const lyd_node* NextEntry(const lyd_node* entry);

/// An annotation of a node by model and name, null for none. libyang's own search says so, too,
/// when it has no memory.
const lyd_meta* FindMeta(const lyd_node* node, const char* model, const char* name);

// Changes. A tree's first node may become another one.

/// A copy of a node alone or, by LYD_DUP_RECURSIVE in `options`, with all below it.
Tree CopyNode(const lyd_node* node, uint32_t options);

/// Adds one node below `parent`, null for the top of `*tree`, and returns it. Throws Refusal.
lyd_node* Insert(Tree* tree, lyd_node* parent, Tree node);

/// Adds `nodes` and their siblings to the top of `*tree`. Throws Refusal.
void InsertAll(Tree* tree, Tree nodes);

/// Takes a node out of `*tree` and frees it.
void Remove(Tree* tree, lyd_node* node);

/// Gives a leaf a value, which is no default then. Throws Refusal, invalid-value.
void SetValue(lyd_node* leaf, const char* text);

}  // namespace host
