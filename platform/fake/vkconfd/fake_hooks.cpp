#include "vkconfd/fake_hooks.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "confd/fake_differences.h"
#include "delivery/change.h"

namespace fake {

namespace {

using common::Change;
using Callpoint = vkconfd::DataHandler::Callpoint;
using Handlers = std::vector<vkconfd::DataHandler*>;

/// Where the models put a callpoint.
const char* CallpointPath(const std::string& name) {
  static const std::map<std::string, const char*> paths = {
      {"listen", "/snmp/agent/listen/interface"}};
  return paths.at(name);
}

/// A round tells of the entries with one kind of change; one more tells of all.
constexpr confd_iter_op kAll = MOP_NOP;

class Run {
 public:
  Run(Transaction* transaction, const Handlers& handlers)
      : transaction_(transaction), handlers_(handlers) {}

  /// What the first callback returned that refused, else CONFD_OK.
  int Result() const { return result_; }

  void Tell(std::vector<Change>& changes, confd_iter_op round) {
    for (vkconfd::DataHandler* handler : handlers_) {
      for (Callpoint* callpoint : handler->GetCallpoints()) {
        const auto visit = [&](confd_hkeypath_t* kp, confd_iter_op op, confd_value_t* /*old_value*/,
                               confd_value_t* new_value) {
          return Visit(callpoint, round, kp, op, new_value);
        };
        common::Visit(changes, {0, 0, CallpointPath(callpoint->GetCallpointName()), 0, visit});
      }
    }
  }

 private:
  confd_iter_ret Visit(Callpoint* callpoint, confd_iter_op round, confd_hkeypath_t* kp,
                       confd_iter_op op, confd_value_t* new_value) {
    if (result_ != CONFD_OK) return ITER_STOP;
    const bool is_entry = kp->v[0][0].type != C_XMLTAG;
    if (is_entry && round != kAll && op != round) return ITER_CONTINUE;
    result_ = CallOne(callpoint, kp, op, is_entry, new_value);
    if (result_ == CONFD_OK) TellWrites();
    return result_ == CONFD_OK ? ITER_RECURSE : ITER_STOP;
  }

  /// A leaf that goes away is nothing to call for.
  int CallOne(Callpoint* callpoint, confd_hkeypath_t* kp, confd_iter_op op, bool is_entry,
              confd_value_t* new_value) const {
    confd_trans_ctx* tctx = transaction_->Context();
    if (is_entry && op == MOP_DELETED) return callpoint->RemoveCallback(tctx, kp);
    if (is_entry && op == MOP_CREATED) return callpoint->CreateCallback(tctx, kp);
    if (op == MOP_VALUE_SET) return callpoint->SetElemCallback(tctx, kp, new_value);
    return CONFD_OK;
  }

  /// A write that is told may write again; the loop that it happened in tells of that, too.
  void TellWrites() {
    if (std::exchange(telling_writes_, true)) return;
    while (!transaction_->writes.empty()) {
      std::vector<Change> write = std::move(transaction_->writes.front());
      transaction_->writes.pop_front();
      Tell(write, kAll);
    }
    telling_writes_ = false;
  }

  Transaction* transaction_;
  const Handlers& handlers_;
  int result_ = CONFD_OK;
  bool telling_writes_ = false;
};

/// The handlers' part in a transaction; it ends with the object for those that have begun.
class Participation {
 public:
  Participation(Transaction* transaction, const Handlers& handlers)
      : transaction_(transaction), handlers_(handlers) {}
  ~Participation() {
    while (begun_ > 0) handlers_[--begun_]->TransactionFinish(transaction_->Context());
  }
  Participation(const Participation&) = delete;
  Participation& operator=(const Participation&) = delete;

  int Begin() {
    for (; begun_ < handlers_.size(); ++begun_) {
      const int result = handlers_[begun_]->TransactionInit(transaction_->Context());
      if (result != CONFD_OK) return result;
    }
    return CONFD_OK;
  }

 private:
  Transaction* transaction_;
  const Handlers& handlers_;
  size_t begun_ = 0;
};

bool AnyTouched(const std::vector<Change>& changes, const Handlers& handlers) {
  return std::any_of(handlers.begin(), handlers.end(), [&changes](vkconfd::DataHandler* handler) {
    const std::vector<Callpoint*>& callpoints = handler->GetCallpoints();
    return std::any_of(callpoints.begin(), callpoints.end(), [&changes](Callpoint* callpoint) {
      return common::IsTouched(changes, CallpointPath(callpoint->GetCallpointName()));
    });
  });
}

}  // namespace

int CallHooks(const Database& before, Transaction* transaction, const Handlers& handlers) {
  std::vector<Change> changes = Differences(before, transaction->candidate);
  if (!AnyTouched(changes, handlers)) return CONFD_OK;
  Participation participation(transaction, handlers);
  const int begun = participation.Begin();
  if (begun != CONFD_OK) return begun;
  Run run(transaction, handlers);
  for (const confd_iter_op round : {MOP_DELETED, MOP_CREATED, MOP_MODIFIED}) {
    run.Tell(changes, round);
  }
  return run.Result();
}

}  // namespace fake
