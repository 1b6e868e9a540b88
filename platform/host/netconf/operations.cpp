#include "netconf/operations.h"

#include <cstring>
#include <utility>

#include "netconf/access_changes.h"
#include "netconf/create_subscription.h"
#include "netconf/edit.h"
#include "netconf/parameters.h"
#include "netconf/rpc_error.h"
#include "netconf/schema_request.h"
#include "netconf/xml.h"

namespace host {

namespace {

constexpr char kOk[] = "<ok/>";

RpcError Unsupported(const std::string& what) {
  return {"protocol", "operation-not-supported", what + " is not supported"};
}

/// The configuration that stands in a <config> element.
Tree ContentOf(const Request& request, const lyd_node* config) {
  Tree tree;
  ApplyEdit(request.Context(), ConfigContent(config), EditOperation::kMerge, &tree);
  return tree;
}

Tree SourceOf(const Request& request) {
  const lyd_node* source = Parameter(request.operation, "source");
  const lyd_node* config = Parameter(source, "config");
  return config == nullptr ? request.datastores->Copy(DatastoreIn(source))
                           : ContentOf(request, config);
}

/// Throws AccessDenied unless the user may make this the content of a datastore.
void RequireRights(const Request& request, Datastore target, const Tree& content) {
  if (request.access->MayWriteAll()) return;
  RequireChanges(*request.access, request.datastores->Copy(target).get(), content.get());
}

/// A commit that waits holds up those of others, and its end takes back what they have done since,
/// so who may not do that must have something of his own to commit.
void RequireDifference(const Request& request, const Tree& candidate) {
  const Tree running = request.datastores->Copy(Datastore::kRunning);
  const bool is_same = lyd_compare_siblings(running.get(), candidate.get(),
                                            LYD_COMPARE_FULL_RECURSION) == LY_SUCCESS;
  if (is_same) throw AccessDenied("have a commit wait that changes nothing");
}

std::string Data(const Request& request, const Tree& data) {
  const uint32_t options = LYD_PRINT_SHRINK | DefaultsFlag(request.operation);
  return Element("data", data == nullptr ? "" : PrintData(data.get(), LYD_XML, options));
}

std::string Get(const Request& request) {
  Tree data = request.datastores->Copy(Datastore::kRunning);
  InsertAll(&data, request.services->state());
  request.control->AddState(&data);
  request.access->Prune(&data);
  return Data(request, Filtered(request.operation, std::move(data)));
}

std::string GetConfig(const Request& request) {
  Tree data = SourceOf(request);
  request.access->Prune(&data);
  return Data(request, Filtered(request.operation, std::move(data)));
}

std::string EditConfig(const Request& request) {
  const Datastore target = DatastoreIn(Parameter(request.operation, "target"));
  const EditOperation inherited =
      ParseEditOperation(ParameterText(request.operation, "default-operation").c_str());
  if (ParameterText(request.operation, "error-option") == "continue-on-error") {
    throw Unsupported("continue-on-error");
  }
  const lyd_node* config = Parameter(request.operation, "config");
  Tree content = inherited == EditOperation::kReplace ? Tree() : request.datastores->Copy(target);
  ApplyEdit(request.Context(), ConfigContent(config), inherited, &content);
  RequireRights(request, target, content);
  const std::string test = TestOption(request.operation);
  // What is put into running is checked by its commit.
  const bool is_checked_later = test == "test-then-set" && target == Datastore::kRunning;
  if (test != "set" && !is_checked_later) request.datastores->Check(CopyTree(content.get()));
  if (test != "test-only") request.datastores->Replace(target, std::move(content), request.author);
  return kOk;
}

std::string CopyConfig(const Request& request) {
  const Datastore target = DatastoreIn(Parameter(request.operation, "target"));
  const lyd_node* source = Parameter(request.operation, "source");
  const bool is_given = Parameter(source, "config") != nullptr;
  if (!is_given && DatastoreIn(source) == target) {
    throw RpcError("protocol", "invalid-value", "source and target are one datastore")
        .With("bad-element", "source");
  }
  const bool keeps_running =
      !is_given && DatastoreIn(source) == Datastore::kRunning && target == Datastore::kStartup;
  Tree content = SourceOf(request);
  // What the user cannot read he cannot copy; but keeping what is in force needs no right to it.
  if (!is_given && !keeps_running) request.access->Prune(&content);
  if (!keeps_running) RequireRights(request, target, content);
  request.datastores->Replace(target, std::move(content), request.author);
  return kOk;
}

std::string Commit(const Request& request) {
  const lyd_node* commit = request.operation;
  Confirmation confirmation;
  confirmation.awaited = Parameter(commit, "confirmed") != nullptr;
  confirmation.timeout =
      std::chrono::seconds(std::stoul(ParameterText(commit, "confirm-timeout", "600")));
  confirmation.persist = ParameterText(commit, "persist");
  confirmation.persist_id = ParameterText(commit, "persist-id");
  if (!request.access->MayWriteAll()) {
    const Tree candidate = request.datastores->Copy(Datastore::kCandidate);
    RequireRights(request, Datastore::kRunning, candidate);
    if (confirmation.awaited) RequireDifference(request, candidate);
  }
  request.datastores->Commit(request.author, confirmation);
  return kOk;
}

std::string CancelCommit(const Request& request) {
  request.datastores->CancelCommit(request.author, ParameterText(request.operation, "persist-id"));
  return kOk;
}

std::string DiscardChanges(const Request& request) {
  request.datastores->Discard(request.author.session);
  return kOk;
}

std::string DeleteConfig(const Request& request) {
  request.datastores->DeleteStartup(request.author.session);
  return kOk;
}

std::string RollBack(const Request& request) {
  const auto number = static_cast<uint32_t>(std::stoul(ParameterText(request.operation, "number")));
  const bool is_candidate = ParameterText(request.operation, "target") == "candidate";
  const Datastore target = is_candidate ? Datastore::kCandidate : Datastore::kRunning;
  if (!request.access->MayWriteAll()) {
    RequireRights(request, target, request.datastores->Kept(number));
  }
  request.datastores->RollBack(number, target, request.author);
  return kOk;
}

std::string Validate(const Request& request) {
  request.datastores->Check(SourceOf(request));
  return kOk;
}

std::string Lock(const Request& request) {
  request.datastores->Lock(DatastoreIn(Parameter(request.operation, "target")),
                           request.author.session);
  return kOk;
}

std::string Unlock(const Request& request) {
  request.datastores->Unlock(DatastoreIn(Parameter(request.operation, "target")),
                             request.author.session);
  return kOk;
}

std::string KillSession(const Request& request) {
  const auto session =
      static_cast<SessionId>(std::stoul(ParameterText(request.operation, "session-id")));
  if (session == request.author.session) {
    throw RpcError("protocol", "invalid-value", "a session ends itself by close-session")
        .With("bad-element", "session-id");
  }
  if (!request.services->kill(session, request.author.session)) {
    throw RpcError("protocol", "invalid-value", "there is no session " + std::to_string(session))
        .With("bad-element", "session-id");
  }
  return kOk;
}

std::string GetSchema(const Request& request) {
  const lys_module* module = FindSchema(
      request.Context(), ParameterText(request.operation, "identifier"),
      Parameter(request.operation, "version"), ParameterText(request.operation, "format"));
  return R"(<data xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring">)" +
         EscapeXml(PrintModel(module)) + "</data>";
}

std::string CloseSession(const Request& /*request*/) { return kOk; }

struct Operation {
  const char* name;
  std::string (*perform)(const Request& request);
  bool closes = false;
};

/// The models have delete-config take nothing but the start-up datastore.
constexpr Operation kOperations[] = {
    {"get", Get},
    {"get-config", GetConfig},
    {"edit-config", EditConfig},
    {"copy-config", CopyConfig},
    {"delete-config", DeleteConfig},
    {"commit", Commit},
    {"cancel-commit", CancelCommit},
    {"discard-changes", DiscardChanges},
    {"rollback", RollBack},
    {"validate", Validate},
    {"lock", Lock},
    {"unlock", Unlock},
    {"kill-session", KillSession},
    {"close-session", CloseSession, true},
    {"get-schema", GetSchema},
    {"create-subscription", CreateSubscription},
};

}  // namespace

Answer Perform(const Request& request) {
  const char* name = NameOf(request.operation);
  for (const Operation& operation : kOperations) {
    if (strcmp(operation.name, name) == 0) return {operation.perform(request), operation.closes};
  }
  throw Unsupported(name);
}

}  // namespace host
