#include "netconf/rpc.h"

#include <cstring>
#include <memory>
#include <stdexcept>

#include "netconf/edit.h"
#include "netconf/envelope.h"
#include "netconf/filter.h"
#include "netconf/rpc_error.h"
#include "netconf/xml.h"

namespace host {

namespace {

constexpr char kOk[] = "<ok/>";

const lyd_node* Child(const lyd_node* parent, const char* name) {
  for (const lyd_node* child = lyd_child(parent); child != nullptr; child = child->next) {
    if (child->schema != nullptr && strcmp(child->schema->name, name) == 0) return child;
  }
  return nullptr;
}

/// The text of a leaf of an operation, `absent` when it is not there.
std::string Text(const lyd_node* operation, const char* leaf, const char* absent = "") {
  const lyd_node* found = Child(operation, leaf);
  return found == nullptr ? absent : lyd_get_value(found);
}

/// What stands in an <filter> or <config> element; null for nothing.
const lyd_node* AnyContent(const lyd_node* element) {
  const auto* any = reinterpret_cast<const lyd_node_any*>(element);
  return any->value_type == LYD_ANYDATA_DATATREE ? any->value.tree : nullptr;
}

/// The same of a <config>, in which a text has no place.
const lyd_node* ConfigContent(const lyd_node* config) {
  const auto* any = reinterpret_cast<const lyd_node_any*>(config);
  const bool is_text = any->value_type == LYD_ANYDATA_STRING || any->value_type == LYD_ANYDATA_XML;
  const std::string text = is_text && any->value.str != nullptr ? any->value.str : "";
  if (text.find_first_not_of(" \t\r\n") == std::string::npos) return AnyContent(config);
  throw RpcError("protocol", "invalid-value", "a configuration is no text")
      .With("bad-element", "config");
}

/// By default an edit of the candidate is not tested, though RFC 6241, 7.2 says so: entries that
/// need each other could then not be made by one edit each, as clients do that build the candidate
/// step by step. The commit checks it.
std::string TestOption(const lyd_node* operation) {
  const lyd_node* option = Child(operation, "test-option");
  const bool is_given = option != nullptr && (option->flags & LYD_DEFAULT) == 0;
  return is_given ? lyd_get_value(option) : "set";
}

RpcError Unsupported(const std::string& what) {
  return {"protocol", "operation-not-supported", what + " is not supported"};
}

/// The datastore that a <source> or <target> names; the models let nothing else through.
Datastore DatastoreIn(const lyd_node* container) {
  return Child(container, "running") != nullptr ? Datastore::kRunning : Datastore::kCandidate;
}

std::string MetaText(const lyd_node* node, const char* name) {
  const lyd_meta* meta = lyd_find_meta(node->meta, nullptr, name);
  return meta == nullptr ? "" : lyd_get_meta_value(meta);
}

/// What a request's <filter>, if it has one, leaves of `data`.
Tree Filtered(const lyd_node* operation, Tree data) {
  const lyd_node* filter = Child(operation, "filter");
  if (filter == nullptr) return data;
  if (MetaText(filter, "ietf-netconf:type") == "xpath") {
    const std::string select = MetaText(filter, "ietf-netconf:select");
    if (!select.empty()) return SelectXPath(select.c_str(), data.get());
    throw RpcError("protocol", "missing-attribute", "select tells what an XPath filter selects")
        .With("bad-attribute", "select")
        .With("bad-element", "filter");
  }
  return SelectSubtree(AnyContent(filter), data.get());
}

/// How values that the models give are reported (RFC 6243); "explicit" is the basic mode.
uint32_t DefaultsFlag(const lyd_node* operation) {
  const std::string mode = Text(operation, "with-defaults", "explicit");
  if (mode == "report-all") return LYD_PRINT_WD_ALL;
  if (mode == "report-all-tagged") return LYD_PRINT_WD_ALL_TAG;
  return mode == "trim" ? LYD_PRINT_WD_TRIM : LYD_PRINT_WD_EXPLICIT;
}

}  // namespace

RpcReply RpcHandler::Handle(SessionId session, const std::string& message) {
  session_ = session;
  RpcReply reply;
  const RpcEnvelope envelope(Context(), message);
  try {
    const lyd_node* operation = envelope.Operation();
    reply.xml = envelope.Reply(Answer(operation));
    reply.closes = strcmp(operation->schema->name, "close-session") == 0;
  } catch (const RpcError& error) {
    reply.xml = envelope.Reply(error.Xml(Context()));
    reply.is_error = true;
    // Where messages begin and end is not sure any more.
    reply.closes = error.Tag() == "malformed-message";
  } catch (const std::exception& error) {
    const RpcError failed("application", "operation-failed", error.what());
    reply.xml = envelope.Reply(failed.Xml(Context()));
    reply.is_error = true;
  }
  return reply;
}

RpcHandler::Operation RpcHandler::FindOperation(const lyd_node* operation) {
  struct Named {
    const char* name;
    Operation operation;
  };
  static constexpr Named kOperations[] = {
      {"get", &RpcHandler::Get},
      {"get-config", &RpcHandler::GetConfig},
      {"edit-config", &RpcHandler::EditConfig},
      {"copy-config", &RpcHandler::CopyConfig},
      {"commit", &RpcHandler::Commit},
      {"discard-changes", &RpcHandler::DiscardChanges},
      {"validate", &RpcHandler::Validate},
      {"lock", &RpcHandler::Lock},
      {"unlock", &RpcHandler::Unlock},
      {"kill-session", &RpcHandler::KillSession},
      {"close-session", &RpcHandler::CloseSession},
      {"get-schema", &RpcHandler::GetSchema},
  };
  for (const Named& named : kOperations) {
    if (strcmp(named.name, operation->schema->name) == 0) return named.operation;
  }
  throw Unsupported(operation->schema->name);
}

std::string RpcHandler::Answer(const lyd_node* operation) {
  return (this->*FindOperation(operation))(operation);
}

/// The configuration that stands in a <config> element.
Tree RpcHandler::ContentOf(const lyd_node* config) const {
  Tree tree;
  ApplyEdit(Context(), ConfigContent(config), EditOperation::kMerge, &tree);
  return tree;
}

Tree RpcHandler::SourceOf(const lyd_node* operation) const {
  const lyd_node* source = Child(operation, "source");
  const lyd_node* config = Child(source, "config");
  return config == nullptr ? datastores_->Copy(DatastoreIn(source)) : ContentOf(config);
}

std::string RpcHandler::Data(const lyd_node* operation, const Tree& data) {
  char* text = nullptr;
  const uint32_t options = LYD_PRINT_WITHSIBLINGS | LYD_PRINT_SHRINK | DefaultsFlag(operation);
  if (data != nullptr && lyd_print_mem(&text, data.get(), LYD_XML, options) != LY_SUCCESS) {
    throw std::bad_alloc();
  }
  const std::unique_ptr<char, decltype(&free)> owned(text, free);
  return std::string("<data>") + (text == nullptr ? "" : text) + "</data>";
}

std::string RpcHandler::Get(const lyd_node* operation) {
  Tree data = datastores_->Copy(Datastore::kRunning);
  Tree state = services_.state();
  if (state != nullptr) {
    lyd_node* first = data.release();
    const LY_ERR result = lyd_insert_sibling(first, state.release(), &first);
    data.reset(first);
    if (result != LY_SUCCESS) throw std::runtime_error(TakeErrors(Context()));
  }
  return Data(operation, Filtered(operation, std::move(data)));
}

std::string RpcHandler::GetConfig(const lyd_node* operation) {
  return Data(operation, Filtered(operation, SourceOf(operation)));
}

std::string RpcHandler::EditConfig(const lyd_node* operation) {
  const Datastore target = DatastoreIn(Child(operation, "target"));
  const EditOperation inherited = ParseEditOperation(Text(operation, "default-operation").c_str());
  if (Text(operation, "error-option") == "continue-on-error") {
    throw Unsupported("continue-on-error");
  }
  const lyd_node* config = Child(operation, "config");
  Tree content = inherited == EditOperation::kReplace ? Tree() : datastores_->Copy(target);
  ApplyEdit(Context(), ConfigContent(config), inherited, &content);
  const std::string test = TestOption(operation);
  // What is put into running is checked by its commit.
  const bool is_checked_later = test == "test-then-set" && target == Datastore::kRunning;
  if (test != "set" && !is_checked_later) datastores_->Check(CopyTree(content.get()));
  if (test != "test-only") datastores_->Replace(target, std::move(content), session_);
  return kOk;
}

std::string RpcHandler::CopyConfig(const lyd_node* operation) {
  const Datastore target = DatastoreIn(Child(operation, "target"));
  const lyd_node* source = Child(operation, "source");
  if (Child(source, "config") == nullptr && DatastoreIn(source) == target) {
    throw RpcError("protocol", "invalid-value", "source and target are one datastore")
        .With("bad-element", "source");
  }
  datastores_->Replace(target, SourceOf(operation), session_);
  return kOk;
}

std::string RpcHandler::Commit(const lyd_node* /*operation*/) {
  datastores_->Commit(session_);
  return kOk;
}

std::string RpcHandler::DiscardChanges(const lyd_node* /*operation*/) {
  datastores_->Discard(session_);
  return kOk;
}

std::string RpcHandler::Validate(const lyd_node* operation) {
  datastores_->Check(SourceOf(operation));
  return kOk;
}

std::string RpcHandler::Lock(const lyd_node* operation) {
  datastores_->Lock(DatastoreIn(Child(operation, "target")), session_);
  return kOk;
}

std::string RpcHandler::Unlock(const lyd_node* operation) {
  datastores_->Unlock(DatastoreIn(Child(operation, "target")), session_);
  return kOk;
}

std::string RpcHandler::KillSession(const lyd_node* operation) {
  const auto session = static_cast<SessionId>(std::stoul(Text(operation, "session-id")));
  if (session == session_) {
    throw RpcError("protocol", "invalid-value", "a session ends itself by close-session");
  }
  if (!services_.kill(session)) {
    throw RpcError("protocol", "invalid-value", "there is no session " + std::to_string(session));
  }
  return kOk;
}

std::string RpcHandler::CloseSession(const lyd_node* /*operation*/) { return kOk; }

std::string RpcHandler::GetSchema(const lyd_node* operation) {
  const std::string name = Text(operation, "identifier");
  const std::string version = Text(operation, "version");
  const lys_module* module = version.empty()
                                 ? ly_ctx_get_module_latest(Context(), name.c_str())
                                 : ly_ctx_get_module(Context(), name.c_str(), version.c_str());
  if (module == nullptr) {
    throw RpcError("protocol", "invalid-value", "there is no schema " + name + " " + version);
  }
  const std::string format = Text(operation, "format", "yang");
  if (format.find("yang") == std::string::npos) throw Unsupported("format " + format);
  char* text = nullptr;
  if (lys_print_mem(&text, module, LYS_OUT_YANG, 0) != LY_SUCCESS) throw std::bad_alloc();
  const std::unique_ptr<char, decltype(&free)> owned(text, free);
  return R"(<data xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring">)" + EscapeXml(text) +
         "</data>";
}

}  // namespace host
