#include "netconf/confirmed_commit.h"

#include <utility>

#include "config/system_nodes.h"
#include "netconf/rpc_error.h"
#include "runtime/event_loop.h"
#include "runtime/faults.h"

namespace host {

namespace {

/// Until what could not be taken back is tried again.
constexpr std::chrono::seconds kRetry(5);

RpcError Unknown(const std::string& reason) {
  return RpcError("protocol", "invalid-value", reason).With("bad-element", "persist-id");
}

}  // namespace

ConfirmedCommit::ConfirmedCommit(const boost::asio::any_io_executor& executor, Engine* engine)
    : engine_(engine), alarm_(executor, "end of a commit that was not confirmed") {}

void ConfirmedCommit::Commit(const Author& author, const Confirmation& confirmation,
                             const std::function<void()>& commit) {
  Check(author.session, confirmation.persist_id);
  const bool was_under_way = IsUnderWay();
  const bool begins = confirmation.awaited && !was_under_way;
  if (begins) Begin();
  try {
    commit();
  } catch (...) {
    if (begins) Confirm();
    throw;
  }
  if (confirmation.awaited) {
    Await(author, confirmation);
    Tell(begins ? "start" : "extend", author, confirmation.timeout);
  } else {
    Confirm();
    if (was_under_way) Tell("complete", author);
  }
}

/// What is told is in force: nothing that goes wrong here may pass for its refusal.
void ConfirmedCommit::Tell(const char* what, const Author& author,
                           std::chrono::seconds timeout) const noexcept {
  if (!observer_) return;
  RunEvent("telling of a commit that is to be confirmed", [&] {
    observer_({what, author, timeout});
  });
}

void ConfirmedCommit::Cancel(const Author& author, const std::string& persist_id) {
  if (!IsUnderWay()) {
    throw RpcError("protocol", "operation-failed", "no commit is waiting to be confirmed");
  }
  Check(author.session, persist_id);
  TakeBack(author);
  Tell("cancel", author);
}

void ConfirmedCommit::EndSession(uint32_t session) {
  if (!IsUnderWay() || owner_ != session) return;
  RunEvent("end of a session that had a commit to confirm",
           [this] { TakeBackOrRetry("its session ended unconfirmed", "cancel"); });
}

void ConfirmedCommit::Check(uint32_t session, const std::string& persist_id) const {
  if (persist_id.empty() && !IsUnderWay()) return;
  if (!IsUnderWay()) throw Unknown("no commit is waiting to be confirmed");
  if (persist_id != persist_) {
    throw Unknown("the commit that is waiting to be confirmed has another persist-id");
  }
  if (owner_ != 0 && owner_ != session) {
    throw Unknown("session " + std::to_string(owner_) + " has a commit to confirm");
  }
}

/// The file comes first: whenever the daemon ends, there is something to go back to.
void ConfirmedCommit::Begin() {
  try {
    engine_->KeepUnconfirmed();
  } catch (...) {
    Forget();
    throw;
  }
  before_ = engine_->Running();
}

void ConfirmedCommit::Await(const Author& author, const Confirmation& confirmation) {
  const auto await = [&] {
    persist_ = confirmation.persist;
    owner_ = persist_.empty() ? author.session : 0;
    begun_by_ = author;
    alarm_.After(confirmation.timeout,
                 [this] { TakeBackOrRetry("not confirmed in time", "timeout"); });
  };
  // It is in force by now, so it is no refusal. A start takes it back.
  RunEvent("ending, for the confirmation cannot be waited for", await, EndWithFault);
}

void ConfirmedCommit::Confirm() {
  if (!IsUnderWay()) return;
  Forget();
  alarm_.Stop();
  before_.reset();
  persist_.clear();
  owner_ = 0;
}

/// A file that stays would have the next start go back behind what was answered since.
void ConfirmedCommit::Forget() {
  try {
    engine_->ForgetUnconfirmed();
  } catch (const std::exception& error) {
    HOST_LAST_FAULT("ending, for what is confirmed would be taken back: " +
                    std::string(error.what()));
  }
}

void ConfirmedCommit::TakeBack(const Author& author) {
  Tree before = CopyTree(before_.get());
  // The hooks make what the system wrote anew.
  DropMarked(&before);
  engine_->Commit(std::move(before), author);
  Confirm();
}

void ConfirmedCommit::TakeBackOrRetry(const char* reason, const char* event) {
  const auto retry = [&] {
    alarm_.After(kRetry, [this, reason, event] { TakeBackOrRetry(reason, event); });
  };
  // It would stay in force for good.
  RunEvent("ending, for a commit cannot be taken back later", retry, EndWithFault);
  TakeBack({"", 0, std::string("taking back a commit: ") + reason});
  Tell(event, begun_by_);
}

}  // namespace host
