#include "netconf/datastores.h"

#include <string>
#include <utility>

#include "config/input_file.h"
#include "netconf/rpc_error.h"

namespace host {

namespace {

RpcError Denied(const char* tag, SessionId holder) {
  return RpcError("protocol", tag,
                  holder == 0 ? "the candidate has changes that are not committed"
                              : "session " + std::to_string(holder) + " has the lock")
      .With("session-id", std::to_string(holder));
}

RpcError NoSuchNumber(uint32_t number) {
  return RpcError("protocol", "invalid-value",
                  "the history has no configuration " + std::to_string(number))
      .At("/snmp-app-history:rollback/number")
      .With("bad-element", "number");
}

}  // namespace

Tree Datastores::Copy(Datastore datastore) const {
  if (datastore == Datastore::kStartup) return startup_.Read(Models().Context());
  if (datastore == Datastore::kRunning || !candidate_changed_) return engine_->CopyRunning();
  Tree copy = CopyTree(candidate_.get());
  AddDefaults(Models().Context(), &copy);
  return copy;
}

void Datastores::Replace(Datastore datastore, Tree content, const Author& author) {
  CheckAccess(datastore, author.session);
  if (datastore == Datastore::kRunning) {
    engine_->Commit(std::move(content), author);
  } else if (datastore == Datastore::kStartup) {
    Check(CopyTree(content.get()));
    startup_.Write(std::move(content));
  } else {
    candidate_ = std::move(content);
    candidate_changed_ = true;
  }
}

void Datastores::RollBack(uint32_t number, Datastore target, Author author) {
  CheckAccess(target, author.session);
  if (target == Datastore::kRunning && confirmed_.IsUnderWay()) {
    throw RpcError("protocol", "in-use",
                   "a commit waits to be confirmed or cancelled, and comes first");
  }
  Tree kept = Kept(number);
  author.operation += " to " + std::to_string(number);
  Replace(target, std::move(kept), author);
}

Tree Datastores::Kept(uint32_t number) const {
  if (history_ == nullptr || !history_->Has(number)) throw NoSuchNumber(number);
  return ReadInput(Models().Context(), history_->FileOf(number));
}

void Datastores::DeleteStartup(SessionId session) {
  CheckAccess(Datastore::kStartup, session);
  startup_.Remove();
}

void Datastores::Commit(const Author& author, const Confirmation& confirmation) {
  CheckAccess(Datastore::kCandidate, author.session);
  CheckAccess(Datastore::kRunning, author.session);
  confirmed_.Commit(author, confirmation, [&] {
    if (candidate_changed_) engine_->Commit(CopyTree(candidate_.get()), author);
  });
  candidate_.reset();
  candidate_changed_ = false;
}

void Datastores::CancelCommit(const Author& author, const std::string& persist_id) {
  CheckAccess(Datastore::kRunning, author.session);
  confirmed_.Cancel(author, persist_id);
}

void Datastores::Discard(SessionId session) {
  CheckAccess(Datastore::kCandidate, session);
  candidate_.reset();
  candidate_changed_ = false;
}

void Datastores::Check(Tree content) const { engine_->Check(std::move(content)); }

void Datastores::Lock(Datastore datastore, SessionId session) {
  const SessionId holder = LockedBy(datastore);
  if (holder != 0 || (datastore == Datastore::kCandidate && candidate_changed_)) {
    throw Denied("lock-denied", holder);
  }
  if (datastore == Datastore::kRunning && confirmed_.IsUnderWay() &&
      confirmed_.Owner() != session) {
    throw RpcError("protocol", "lock-denied", "a commit of another session is not confirmed yet")
        .With("session-id", std::to_string(confirmed_.Owner()));
  }
  locks_[Index(datastore)] = {session, std::chrono::system_clock::now()};
}

void Datastores::Unlock(Datastore datastore, SessionId session) {
  if (LockedBy(datastore) != session) {
    throw RpcError("protocol", "operation-failed", "this session does not have the lock");
  }
  EndLock(datastore);
}

void Datastores::EndSession(SessionId session) {
  confirmed_.EndSession(session);
  for (const Datastore datastore :
       {Datastore::kRunning, Datastore::kCandidate, Datastore::kStartup}) {
    if (LockedBy(datastore) == session) EndLock(datastore);
  }
}

/// What was not committed under the candidate's lock goes with it.
void Datastores::EndLock(Datastore datastore) {
  locks_[Index(datastore)] = {};
  if (datastore != Datastore::kCandidate) return;
  candidate_.reset();
  candidate_changed_ = false;
}

void Datastores::CheckAccess(Datastore datastore, SessionId session) const {
  const SessionId holder = LockedBy(datastore);
  if (holder != 0 && holder != session) throw Denied("in-use", holder);
}

}  // namespace host
