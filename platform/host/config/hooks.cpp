#include "config/hooks.h"

#include "config/model_path.h"
#include "config/refusal.h"

namespace host {

namespace {

using common::Change;

/// Which changes a visit tells of.
enum class Round { kRemoved, kCreated, kOther, kAll };

bool IsEntry(const confd_hkeypath_t& path) { return path.v[0][0].type != C_XMLTAG; }

class Run {
 public:
  Run(const Schema& schema, Transaction* transaction, Hooks* hooks)
      : schema_(schema), transaction_(transaction), hooks_(hooks) {}

  void Tell(std::vector<Change>* changes, Round round) {
    for (const ModelCallpoint& callpoint : schema_.Callpoints()) {
      const auto visit = [&](confd_hkeypath_t* path, confd_iter_op op, confd_value_t* /*old_value*/,
                             confd_value_t* value) {
        return Visit(callpoint, round, path, op, value);
      };
      common::Visit(*changes, {0, 0, callpoint.path.c_str(), 0, visit});
    }
  }

 private:
  confd_iter_ret Visit(const ModelCallpoint& callpoint, Round round, confd_hkeypath_t* path,
                       confd_iter_op op, confd_value_t* value) {
    // Changes at the callpoint's own entries make up the rounds; those further below follow them.
    const bool at_callpoint = IsEntry(*path) && path->len == Depth(callpoint);
    if (at_callpoint && !BelongsTo(round, op)) return ITER_CONTINUE;
    if (IsEntry(*path) && op == MOP_DELETED) Call(callpoint, HookKind::kRemoved, path, nullptr);
    if (IsEntry(*path) && op == MOP_CREATED) Call(callpoint, HookKind::kCreated, path, nullptr);
    if (op == MOP_VALUE_SET) Call(callpoint, HookKind::kSet, path, value);
    return ITER_RECURSE;
  }

  static bool BelongsTo(Round round, confd_iter_op op) {
    if (round == Round::kAll) return true;
    if (op == MOP_DELETED) return round == Round::kRemoved;
    if (op == MOP_CREATED) return round == Round::kCreated;
    return round == Round::kOther;
  }

  /// Length of the key path of an entry that the callpoint is at.
  static int Depth(const ModelCallpoint& callpoint) {
    int depth = 0;
    for (const lysc_node* node = callpoint.list; node != nullptr; node = lysc_data_parent(node)) {
      depth += node->nodetype == LYS_LIST ? 2 : 1;
    }
    return depth;
  }

  void Call(const ModelCallpoint& callpoint, HookKind kind, confd_hkeypath_t* path,
            confd_value_t* value) {
    if (hooks_->Call(transaction_, {callpoint.name, kind, path, value}) != CONFD_OK) {
      const ModelPath place = ModelPathOf(schema_, *path);
      throw Refusal(kNotTaken, DataPath(place),
                    place.text + ": callpoint \"" + callpoint.name + "\" refuses the change");
    }
    // A write that is told may write again; the visit that it happened in tells of that, too.
    if (telling_writes_) return;
    telling_writes_ = true;
    std::vector<Change> write;
    while (transaction_->TakeWrite(&write)) Tell(&write, Round::kAll);
    telling_writes_ = false;
  }

  const Schema& schema_;
  Transaction* transaction_;
  Hooks* hooks_;
  bool telling_writes_ = false;
};

/// Ends the hooks' part in a transaction.
class End {
 public:
  End(Transaction* transaction, Hooks* hooks) : transaction_(transaction), hooks_(hooks) {}
  ~End() { hooks_->End(transaction_); }
  End(const End&) = delete;
  End& operator=(const End&) = delete;

 private:
  Transaction* transaction_;
  Hooks* hooks_;
};

bool AnyTouched(const Schema& schema, const std::vector<Change>& changes) {
  for (const ModelCallpoint& callpoint : schema.Callpoints()) {
    if (common::IsTouched(changes, callpoint.path)) return true;
  }
  return false;
}

}  // namespace

void RunHooks(const Schema& schema, std::vector<Change>* changes, Transaction* transaction,
              Hooks* hooks) {
  if (hooks == nullptr || !AnyTouched(schema, *changes)) return;
  if (hooks->Begin(transaction) != CONFD_OK) {
    throw Refusal(kNotTaken, "", "a callpoint's handler refuses to begin a transaction");
  }
  const End end(transaction, hooks);
  Run run(schema, transaction, hooks);
  for (const Round round : {Round::kRemoved, Round::kCreated, Round::kOther}) {
    run.Tell(changes, round);
  }
}

}  // namespace host
