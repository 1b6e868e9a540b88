#include "netconf/access_request.h"

#include <cstring>

#include "config/yang_data.h"
#include "netconf/constraint_error.h"
#include "netconf/parameters.h"

namespace host {

namespace {

/// What a path of an error means in a tree: its node, or the one that it stands in; null for none.
const lyd_node* FindAt(const lyd_node* tree, const std::string& path) {
  lyd_node* found = nullptr;
  if (tree == nullptr || path.empty()) return nullptr;
  const LY_ERR result = lyd_find_path(tree, path.c_str(), 0, &found);
  if (result != LY_SUCCESS && result != LY_EINCOMPLETE && result != LY_ENOTFOUND) {
    ly_err_clean(const_cast<ly_ctx*>(LYD_CTX(tree)), nullptr);
  }
  return result == LY_SUCCESS ? found : nullptr;
}

/// Whether a path leads to something that is there and may not be read.
bool IsHiddenIn(const lyd_node* tree, const Access& access, const std::string& path) {
  const lyd_node* found = FindAt(tree, path);
  return found != nullptr && !access.MayRead({found->schema, found});
}

/// Whether an element of an edit, which may be one of its leafs without a value, is one that may
/// not be read, be it there or not.
bool IsHiddenInEdit(const Request& request, const std::string& path) {
  const lyd_node* config = Parameter(request.operation, "config");
  if (config == nullptr || path.empty()) return false;
  const lyd_node* edit = ConfigContent(config);
  if (IsHiddenIn(edit, *request.access, path)) return true;
  const std::string last = PathSteps(path).back();
  const lyd_node* parent = FindAt(edit, path.substr(0, path.size() - last.size()));
  if (parent == nullptr) return false;
  const std::string name = last.substr(last.find(':') + 1);
  const lysc_node* element =
      lys_find_child(parent->schema, parent->schema->module, name.c_str(), 0, 0, 0);
  return element != nullptr && !request.access->MayRead({element, parent});
}

/// Whether a path leads to an element that may not be read, in whatever configuration.
bool IsHiddenElement(const Request& request, const std::string& path) {
  std::string place;
  for (const std::string& step : PathSteps(path)) {
    place += step.substr(0, step.find('['));
    const lysc_node* element = lys_find_path(request.Context(), nullptr, place.c_str(), 0);
    if (element == nullptr) {
      ly_err_clean(request.Context(), nullptr);
      return false;
    }
    if ((element->nodetype & (LYS_RPC | LYS_NOTIF)) != 0) return false;
    if (!request.access->Permits(kReadAccess, {element, nullptr})) return true;
  }
  return false;
}

/// Whether a request reads a file, whose errors quote what is in it.
bool ReadsFile(const Request& request) {
  if (strcmp(NameOf(request.operation), "rollback") == 0) return true;
  const auto is_startup = [&](const char* parameter) {
    const lyd_node* datastore = Parameter(request.operation, parameter);
    return datastore != nullptr && Parameter(datastore, "startup") != nullptr;
  };
  return is_startup("source") || is_startup("target");
}

/// Whether something is there or not may be known only to who may read it.
bool TellsExistence(const RpcError& error) {
  return error.AppTag().empty() && (error.Tag() == "data-exists" || error.Tag() == "data-missing");
}

/// A refusal as the user may know it.
RpcError Told(const Request& request, const RpcError& error) {
  RpcError hidden("application", error.Tag(),
                  "it is refused by something that this user may not read");
  if (request.access->MayReadAll()) return error;
  if (error.Path().empty()) {
    return error.Tag() == kNotTaken && ReadsFile(request) ? hidden : error;
  }
  if (TellsExistence(error) && IsHiddenInEdit(request, error.Path())) {
    throw AccessDenied("change this", error.Path());
  }
  for (const Datastore datastore : {Datastore::kRunning, Datastore::kCandidate}) {
    const Tree data = request.datastores->Copy(datastore);
    if (!IsHiddenIn(data.get(), *request.access, error.Path())) continue;
    return hidden;
  }
  return IsHiddenElement(request, error.Path()) ? hidden : error;
}

Answer Performed(const Request& request) {
  try {
    return Perform(request);
  } catch (const AccessDenied&) {
    throw;
  } catch (const RpcError& error) {
    throw Told(request, error);
  } catch (const Refusal& refusal) {
    throw Told(request, ConstraintError(refusal));
  }
}

}  // namespace

Answer PerformAs(const Peer& peer, AccessControl* control, Request request) {
  const std::string name = NameOf(request.operation);
  const Access access = control->Of(request.datastores->Running(), peer);
  request.access = &access;
  request.control = control;
  if (!access.MayExecute(request.operation->schema)) {
    control->CountOperation(request.author.session, peer, name);
    throw AccessDenied("request " + name);
  }
  try {
    return Performed(request);
  } catch (const AccessDenied& denied) {
    control->CountWrite(request.author.session, peer, name, denied);
    // The place may be another one's, which this user has not named.
    throw Told(request, denied);
  }
}

}  // namespace host
