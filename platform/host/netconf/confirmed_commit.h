// Commits that are taken back unless they are confirmed (RFC 6241, section 8.4).
#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

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

  /// The session that alone can confirm the one under way, 0 for none.
  uint32_t Owner() const { return owner_; }
  bool IsUnderWay() const { return before_ != nullptr; }

 private:
  void Check(uint32_t session, const std::string& persist_id) const;
  void Begin();
  void Await(uint32_t session, const Confirmation& confirmation);
  void Confirm();
  void Forget();
  void TakeBack(const Author& author);
  void TakeBackOrRetry(const char* reason);

  Engine* engine_;
  Alarm alarm_;
  SharedTree before_;  ///< What was running before, null when none is under way.
  std::string persist_;
  uint32_t owner_ = 0;
};

}  // namespace host
