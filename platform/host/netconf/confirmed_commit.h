// Commits that are taken back unless they are confirmed (RFC 6241, section 8.4).
#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "config/commit_record.h"
#include "config/engine.h"
#include "runtime/waiting.h"

namespace host {

/// What a <commit> says of its confirmation.
struct Confirmation {
  bool awaited = false;               ///< It is taken back unless another one follows in time.
  std::chrono::seconds timeout{600};  ///< For that, when it is awaited.
  std::string persist;                ///< By which any session may confirm; empty for this only.
  std::string persist_id;             ///< That of the one under way; empty for none.
};

/// What became of a commit that is to be confirmed (RFC 6470, 2.5).
struct ConfirmEvent {
  const char* what;                 ///< start, extend, complete, cancel or timeout.
  Author author;                    ///< Who asked for it; no session when nobody did.
  std::chrono::seconds timeout{0};  ///< Of start and extend.
};

/// It must not throw.
using ConfirmObserver = std::function<void(const ConfirmEvent& event)>;

/// The configuration to go back to is kept in a file, too, so that a start goes back to it when the
/// daemon ends in between.
class ConfirmedCommit {
 public:
  /// `engine` and the executor's loop outlive the object.
  ConfirmedCommit(const boost::asio::any_io_executor& executor, Engine* engine);

  /// Makes what `commit` does the running configuration, with what it says of its confirmation; one
  /// that awaits none confirms the one under way. Throws RpcError, invalid-value, when another
  /// session's is under way and `persist_id` is not the one that it was given, or none is; and what
  /// `commit` throws. Nothing has changed then.
  void Commit(const Author& author, const Confirmation& confirmation,
              const std::function<void()>& commit);

  /// Goes back at once. Throws RpcError, invalid-value, as Commit(), and what the engine throws.
  void Cancel(const Author& author, const std::string& persist_id);

  /// A session has ended: what it alone could confirm is taken back.
  void EndSession(uint32_t session);

  /// `observer` is told from now on.
  void SetObserver(ConfirmObserver observer) { observer_ = std::move(observer); }

  /// The session that alone can confirm the one under way, 0 for none.
  uint32_t Owner() const { return owner_; }
  bool IsUnderWay() const { return before_ != nullptr; }

 private:
  void Check(uint32_t session, const std::string& persist_id) const;
  void Begin();
  void Await(const Author& author, const Confirmation& confirmation);
  void Tell(const char* what, const Author& author,
            std::chrono::seconds timeout = {}) const noexcept;
  void Confirm();
  void Forget();
  void TakeBack(const Author& author);
  void TakeBackOrRetry(const char* reason, const char* event);

  Engine* engine_;
  Alarm alarm_;
  SharedTree before_;  ///< What was running before, null when none is under way.
  std::string persist_;
  uint32_t owner_ = 0;
  Author begun_by_;
  ConfirmObserver observer_;
};

}  // namespace host
