// The configuration engine: the configuration in force, in memory and on disk, and its changes.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "confd_cdb.h"
#include "config/commit_record.h"
#include "config/hooks.h"
#include "config/reader.h"
#include "config/schema.h"
#include "config/store.h"
#include "config/transaction.h"
#include "config/tree.h"
#include "delivery/change.h"

namespace host {

/// Told of the changes of a commit that is in force already. It must not throw, for an exception
/// that leaves it would pass for a refusal: who cannot deliver ends the process, and a start
/// delivers everything.
using Deliver = std::function<void(std::vector<common::Change>& changes)>;

/// Keeps the text of a configuration for the next start; throws when that is not done. Where it may
/// be done or not, it ends the process, for the same reason. The record has who commits what.
using Save = std::function<void(const std::string& text, const CommitRecord& record)>;

struct LoadResult {
  bool found = false;       ///< The running configuration is the stored one, else the defaults.
  std::string refused;      ///< Why a stored file was moved aside and to where, else empty.
  bool taken_back = false;  ///< It is the one from before a commit that was not confirmed.
};

struct CommitResult {
  bool saved = false;      ///< The stored file was replaced.
  bool delivered = false;  ///< Some value changed, and `Deliver` was told.
};

class Engine {
 public:
  /// Loads the models of `models_folder`; the running configuration is their defaults. It is kept
  /// in `running_file`, whose folder must exist at the first save. `deliver` may be empty, `hooks`
  /// null; they stay the caller's.
  /// `standard_folder` is as Schema has it. `save` takes the place of writing the file, empty for
  /// that.
  /// Throws std::runtime_error as Schema does, or when the defaults alone are not valid.
  Engine(const std::string& models_folder, const std::string& running_file, Deliver deliver,
         Hooks* hooks = nullptr, const std::string& standard_folder = "", Save save = {});

  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  /// Takes the stored file as the running configuration, or the defaults when there is none;
  /// delivers nothing. A file that was read and that the models refuse is moved aside, the defaults
  /// are taken and the result tells why. Throws std::exception when it cannot be read, memory runs
  /// short, or it cannot be moved aside; the file is as it was then.
  LoadResult LoadStored();

  /// Replaces the running configuration by the content of a start-up file in JSON and delivers the
  /// changes. What the system wrote on its own stays, as far as what it stands in does.
  /// Throws std::runtime_error with the file's path, the place in it and the reason when the file
  /// cannot be read or is refused by the models, as Commit() else. Nothing has changed then.
  CommitResult ReplaceByFile(const std::string& path, const Author& author = {});

  /// Reads a start-up file and checks it as ReplaceByFile() does before it calls hooks, and throws
  /// as that; nothing else happens.
  void CheckFile(const std::string& path) const { ReadCandidate(path); }

  /// A copy of the running configuration, to be edited and given to Commit().
  Tree CopyRunning() const { return CopyTree(running_.get()); }

  /// Makes `candidate`, an operator's input, the running configuration: validation with defaults,
  /// hooks, validation again when they wrote, differences, save, swap and delivery. What the system
  /// wrote on its own stays even where the candidate lacks it; only hooks take it away. A candidate
  /// that changes no value is not delivered, and not saved either unless its explicit nodes are
  /// others. Throws Refusal when the models or a hook refuse it, std::runtime_error when it cannot
  /// be saved or a commit is under way, std::bad_alloc when memory runs short, also where the text
  /// to be saved is found to tell something else than the candidate; an exception of a hook
  /// propagates. Nothing has changed then.
  CommitResult Commit(Tree candidate, const Author& author = {});

  /// Keeps a copy of the stored configuration that a start goes back to, until it is forgotten.
  /// Throws std::exception when it cannot be kept, or not be removed again, though it may be there
  /// then.
  void KeepUnconfirmed() const { unconfirmed_.Save(PrintTree(running_.get())); }
  void ForgetUnconfirmed() const { unconfirmed_.Remove(); }

  /// `observer` is told of commits from now on.
  void SetCommitObserver(CommitObserver observer) { observer_ = std::move(observer); }

  /// Checks `candidate` as Commit() does before it calls hooks, and throws as that; nothing else
  /// happens.
  void Check(Tree candidate) const;

  /// The configuration in force, with defaults.
  const SharedTree& Running() const { return running_; }
  const Schema& Models() const { return schema_; }

  /// True within `Deliver`.
  bool IsDelivering() const { return pre_commit_ != nullptr; }

  /// The transaction that hooks are called for, or null when it has another handle.
  Transaction* FindTransaction(int handle) const;

  /// Opens a read session on a database as it is now: a commit during the session does not change
  /// what it reads. Returns its socket, a number that no other session ever had. Throws
  /// std::runtime_error for CDB_PRE_COMMIT_RUNNING when no commit is being delivered, and for a
  /// database that there is not.
  int OpenSession(cdb_db_type database);

  /// Closes a session; harmless for a socket that has none.
  void CloseSession(int socket);

  /// The session behind a socket, or null. Stays the engine's.
  Reader* FindSession(int socket);

 private:
  void RefuseNested() const;
  void Prepare(Tree* candidate) const;
  Tree ReadCandidate(const std::string& path) const;
  using RecordedCommit = std::function<CommitResult(CommitRecord* record)>;

  CommitResult Told(const Author& author, const RecordedCommit& commit) const;
  CommitResult CommitPrepared(Tree candidate, CommitRecord* record);
  Tree CallHooks(Tree candidate, std::vector<common::Change>* changes);
  CommitResult PutInForce(SharedTree candidate, std::vector<common::Change> changes,
                          CommitRecord* record);

  std::string models_folder_;
  std::string standard_folder_;
  Schema schema_;
  Store store_;
  Store unconfirmed_;
  Save save_;
  Deliver deliver_;
  Hooks* hooks_;
  CommitObserver observer_;
  SharedTree running_;     ///< Never null: the models have containers.
  SharedTree pre_commit_;  ///< Running as it was before the commit; set during its delivery.
  Transaction* transaction_ = nullptr;  ///< Set while hooks are called.
  int last_handle_ = 0;
  std::map<int, Reader> sessions_;
  int last_socket_ = 0;
};

}  // namespace host
