#include "config/engine.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "config/differences.h"
#include "config/input_file.h"
#include "config/system_nodes.h"
#include "config/target_check.h"
#include "config/text_check.h"
#include "runtime/memory_or_end.h"

namespace host {

namespace {

/// The tree from before the commit is readable as long as this lives.
class DeliveryScope {
 public:
  DeliveryScope(SharedTree* slot, SharedTree tree) : slot_(slot) { *slot_ = std::move(tree); }
  ~DeliveryScope() { slot_->reset(); }
  DeliveryScope(const DeliveryScope&) = delete;
  DeliveryScope& operator=(const DeliveryScope&) = delete;

 private:
  SharedTree* slot_;
};

/// The transaction can be found by its handle as long as this lives.
class HookScope {
 public:
  HookScope(Transaction** slot, Transaction* transaction) : slot_(slot) { *slot_ = transaction; }
  ~HookScope() { *slot_ = nullptr; }
  HookScope(const HookScope&) = delete;
  HookScope& operator=(const HookScope&) = delete;

 private:
  Transaction** slot_;
};

void Validate(ly_ctx* context, Tree* tree) {
  ValidateTree(context, tree);
  CheckTargets(tree->get());
}

SharedTree ReadTree(ly_ctx* context, const std::string& text) {
  Tree tree = ParseTree(context, text);
  Validate(context, &tree);
  return tree;
}

/// Throws std::bad_alloc unless models that are loaded now refuse the text as well: expressions of
/// types refuse what they have no memory for, and models that were loaded without some memory
/// refuse what is good. Nothing tells either.
void RefuseLackOfMemory(const std::string& models_folder, const std::string& standard_folder,
                        const std::string& text) {
  const Schema other(models_folder, standard_folder);
  try {
    ReadTree(other.Context(), text);
  } catch (const Refusal&) {
    return;
  }
  RefuseMemory();
}

}  // namespace

Engine::Engine(const std::string& models_folder, const std::string& running_file, Deliver deliver,
               Hooks* hooks, const std::string& standard_folder, Save save)
    : models_folder_(models_folder),
      standard_folder_(standard_folder),
      schema_(models_folder, standard_folder),
      store_(running_file),
      unconfirmed_(running_file + ".unconfirmed"),
      save_(save ? std::move(save)
                 : [this](const std::string& text,
                          const CommitRecord& /*record*/) { store_.Save(text); }),
      deliver_(std::move(deliver)),
      hooks_(hooks),
      running_(ReadTree(schema_.Context(), "{}")) {}

LoadResult Engine::LoadStored() {
  RefuseNested();
  LoadResult result;
  result.taken_back = unconfirmed_.MoveTo(store_);
  const std::optional<std::string> text = store_.Load();
  try {
    running_ = ReadTree(schema_.Context(), text.value_or("{}"));
    result.found = text.has_value();
  } catch (const Refusal& error) {
    RefuseLackOfMemory(models_folder_, standard_folder_, text.value_or("{}"));
    running_ = ReadTree(schema_.Context(), "{}");
    result.refused = store_.Path() + " is none that this release takes, and is moved to " +
                     store_.MoveAside() + ": " + error.what();
  }
  return result;
}

CommitResult Engine::ReplaceByFile(const std::string& path, const Author& author) {
  RefuseNested();
  return Told(author,
              [&](CommitRecord* record) { return CommitPrepared(ReadCandidate(path), record); });
}

Tree Engine::ReadCandidate(const std::string& path) const {
  Tree candidate = ReadInput(schema_.Context(), path);
  TellingFile(path, [&] { Prepare(&candidate); });
  return candidate;
}

CommitResult Engine::Commit(Tree candidate, const Author& author) {
  RefuseNested();
  return Told(author, [&](CommitRecord* record) {
    Prepare(&candidate);
    return CommitPrepared(std::move(candidate), record);
  });
}

/// The outcome of `commit`, which the observer has been told of.
CommitResult Engine::Told(const Author& author, const RecordedCommit& commit) const {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point begin = Clock::now();
  CommitRecord record;
  record.author = author;
  const auto tell = [&] {
    record.duration = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    if (observer_) observer_(record);
  };
  CommitResult result;
  try {
    result = commit(&record);
  } catch (const std::exception& error) {
    record.refusal = error.what();
    tell();
    throw;
  }
  tell();
  return result;
}

void Engine::Check(Tree candidate) const {
  RefuseNested();
  Prepare(&candidate);
}

/// Checks an operator's input, before any hook sees it.
void Engine::Prepare(Tree* candidate) const {
  AddDefaults(schema_.Context(), candidate);
  RefuseOperatorWrites(running_.get(), candidate->get());
  CarryOverSystemNodes(running_.get(), *candidate);
  Validate(schema_.Context(), candidate);
}

CommitResult Engine::CommitPrepared(Tree candidate, CommitRecord* record) {
  std::vector<common::Change> changes = Differences(schema_, running_.get(), candidate.get());
  candidate = CallHooks(std::move(candidate), &changes);
  return PutInForce(std::move(candidate), std::move(changes), record);
}

/// The candidate with what the hooks wrote; `*changes` are brought up to date.
Tree Engine::CallHooks(Tree candidate, std::vector<common::Change>* changes) {
  Transaction transaction(schema_, ++last_handle_, std::move(candidate));
  const MemoryWatch memory;
  {
    const HookScope scope(&transaction_, &transaction);
    RunHooks(schema_, changes, &transaction, hooks_);
  }
  // A hook that goes on without has written a part.
  if (memory.HasFailed()) throw std::bad_alloc();
  candidate = transaction.Take();
  if (!transaction.HasWritten()) return candidate;
  Validate(schema_.Context(), &candidate);
  *changes = Differences(schema_, running_.get(), candidate.get());
  return candidate;
}

CommitResult Engine::PutInForce(SharedTree candidate, std::vector<common::Change> changes,
                                CommitRecord* record) {
  const std::string text = PrintTree(candidate.get());
  CommitResult result;
  if (!Tells(text, candidate.get())) throw std::bad_alloc();
  if (changes.empty() && text == PrintTree(running_.get())) return result;
  record->changes = ChangesText(changes);
  record->edits = EditsOf(schema_, changes);
  save_(text, *record);
  // Nothing throws from here on but `deliver_`: what is stored is in force.
  running_.swap(candidate);
  result.saved = true;
  if (changes.empty()) return result;
  result.delivered = true;
  const DeliveryScope scope(&pre_commit_, std::move(candidate));
  if (deliver_) deliver_(changes);
  return result;
}

Transaction* Engine::FindTransaction(int handle) const {
  return transaction_ != nullptr && transaction_->Handle() == handle ? transaction_ : nullptr;
}

int Engine::OpenSession(cdb_db_type database) {
  if (database != CDB_RUNNING && database != CDB_PRE_COMMIT_RUNNING) {
    throw std::runtime_error("there is no database " + std::to_string(database));
  }
  if (database == CDB_PRE_COMMIT_RUNNING && !IsDelivering()) {
    throw std::runtime_error("the configuration before a commit is there during its delivery only");
  }
  const SharedTree& tree = database == CDB_RUNNING ? running_ : pre_commit_;
  sessions_.emplace(++last_socket_, Reader(schema_, tree));
  return last_socket_;
}

void Engine::CloseSession(int socket) { sessions_.erase(socket); }

Reader* Engine::FindSession(int socket) {
  const auto found = sessions_.find(socket);
  return found == sessions_.end() ? nullptr : &found->second;
}

void Engine::RefuseNested() const {
  if (IsDelivering()) {
    throw std::runtime_error("a commit is being delivered; another one has to wait for its end");
  }
  if (transaction_ != nullptr) {
    throw std::runtime_error("a transaction's hooks are called; another one has to wait");
  }
}

}  // namespace host
