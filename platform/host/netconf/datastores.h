// The configurations that sessions read and change (RFC 6241, sections 5, 8.3 and 8.7).
#pragma once

#include <array>
#include <boost/asio/any_io_executor.hpp>
#include <chrono>
#include <cstdint>
#include <string>
#include <utility>

#include "config/config_history.h"
#include "config/engine.h"
#include "config/tree.h"
#include "netconf/confirmed_commit.h"
#include "netconf/startup_file.h"

namespace host {

enum class Datastore { kRunning, kCandidate, kStartup };

/// A session's number; 0 is none.
using SessionId = uint32_t;

/// The files beside the running configuration's.
struct DatastoreFiles {
  std::string startup;
  const ConfigHistory* history = nullptr;  ///< Null for none.
};

/// The candidate is shared by all sessions. Operations throw RpcError, in-use, for a datastore that
/// another session has locked, and for a configuration that cannot be in force what the engine
/// throws. Nothing has changed then.
class Datastores {
 public:
  /// `engine`, the executor's loop and the history outlive the object.
  Datastores(const boost::asio::any_io_executor& executor, Engine* engine,
             const DatastoreFiles& files = {})
      : engine_(engine),
        confirmed_(executor, engine),
        startup_(files.startup),
        history_(files.history) {}

  /// `observer` is told of what becomes of confirmed commits from now on.
  void SetConfirmObserver(ConfirmObserver observer) { confirmed_.SetObserver(std::move(observer)); }

  const Schema& Models() const { return engine_->Models(); }

  /// The configuration in force.
  const SharedTree& Running() const { return engine_->Running(); }

  /// A copy with defaults, the caller's, to be changed and given to Replace(). Locks do not matter
  /// to it. That of the start-up datastore is what its file has now, also where the models refuse
  /// it. Linear.
  Tree Copy(Datastore datastore) const;

  /// Gives a datastore this content; for the running one that is a commit. The candidate takes what
  /// the models refuse, too: its commit tells.
  void Replace(Datastore datastore, Tree content, const Author& author);

  /// Gives a datastore a configuration of the history, as Replace() does. Throws RpcError,
  /// invalid-value, when it does not have that number, and in-use for the running one while a
  /// commit waits for its confirmation.
  void RollBack(uint32_t number, Datastore target, Author author);

  /// A configuration of the history, the caller's. Throws RpcError, invalid-value, when it does not
  /// have that number, std::runtime_error when it cannot be read, Refusal as the models do.
  Tree Kept(uint32_t number) const;

  /// Leaves the start-up datastore without any content.
  void DeleteStartup(SessionId session);

  /// Makes the candidate the running configuration, and confirms a commit that waits for it or has
  /// this one wait. A refused one stays the candidate.
  void Commit(const Author& author, const Confirmation& confirmation);

  /// Takes back a commit that waits for its confirmation.
  void CancelCommit(const Author& author, const std::string& persist_id);

  /// Makes the candidate what is running.
  void Discard(SessionId session);

  /// Checks a configuration against the models as a commit would, and changes nothing.
  void Check(Tree content) const;

  /// lock-denied when it is locked, for a candidate with changes that are not committed, and for
  /// the running one while a commit of another session waits for its confirmation.
  void Lock(Datastore datastore, SessionId session);

  /// operation-failed when it is not this session that has the lock. The candidate's changes that
  /// are not committed go with its lock.
  void Unlock(Datastore datastore, SessionId session);

  /// Who has locked it, 0 for nobody.
  SessionId LockedBy(Datastore datastore) const { return locks_[Index(datastore)].holder; }
  std::chrono::system_clock::time_point LockedSince(Datastore datastore) const {
    return locks_[Index(datastore)].since;
  }

  /// A session has ended: its locks go, the candidate's changes with its lock, and the commit that
  /// it did not confirm.
  void EndSession(SessionId session);

 private:
  struct LockState {
    SessionId holder = 0;
    std::chrono::system_clock::time_point since;
  };

  static size_t Index(Datastore datastore) { return static_cast<size_t>(datastore); }
  void EndLock(Datastore datastore);
  void CheckAccess(Datastore datastore, SessionId session) const;

  Engine* engine_;
  ConfirmedCommit confirmed_;
  bool candidate_changed_ = false;
  Tree candidate_;  ///< Counts only when it was changed.
  StartupFile startup_;
  const ConfigHistory* history_;
  std::array<LockState, 3> locks_;
};

}  // namespace host
