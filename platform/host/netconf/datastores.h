// The configurations that sessions read and change (RFC 6241, section 5 and section 8.3).
#pragma once

#include <array>
#include <chrono>
#include <cstdint>

#include "config/engine.h"
#include "config/tree.h"

namespace host {

enum class Datastore { kRunning, kCandidate };

/// A session's number; 0 is none.
using SessionId = uint32_t;

/// The candidate is shared by all sessions. Operations throw RpcError, in-use, for a datastore that
/// another session has locked, and for a configuration that cannot be in force what the engine
/// throws. Nothing has changed then.
class Datastores {
 public:
  /// `engine` outlives the object.
  explicit Datastores(Engine* engine) : engine_(engine) {}

  const Schema& Models() const { return engine_->Models(); }

  /// A copy with defaults, to be changed and given to Replace().
  Tree Copy(Datastore datastore) const;

  /// Gives a datastore this content; for the running one that is a commit.
  void Replace(Datastore datastore, Tree content, const Author& author);

  /// Makes the candidate the running configuration.
  void Commit(const Author& author);

  /// Makes the candidate what is running.
  void Discard(SessionId session);

  /// Checks a configuration against the models as a commit would, and changes nothing.
  void Check(Tree content) const;

  /// lock-denied when it is locked, or for a candidate with changes that are not committed.
  void Lock(Datastore datastore, SessionId session);
  void Unlock(Datastore datastore, SessionId session);

  /// Who has locked it, 0 for nobody.
  SessionId LockedBy(Datastore datastore) const { return locks_[Index(datastore)].holder; }
  std::chrono::system_clock::time_point LockedSince(Datastore datastore) const {
    return locks_[Index(datastore)].since;
  }

  /// A session has ended: its locks go, and the candidate's changes with its lock.
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
  bool candidate_changed_ = false;
  Tree candidate_;  ///< Counts only when it was changed.
  std::array<LockState, 2> locks_;
};

}  // namespace host
