// Telling the callpoints of the models what a transaction changes below them.
#pragma once

#include <string>
#include <vector>

#include "confd_lib.h"
#include "config/schema.h"
#include "config/transaction.h"
#include "delivery/change.h"

namespace host {

enum class HookKind { kRemoved, kCreated, kSet };

/// One change below a callpoint. All of it is valid during the call.
struct HookCall {
  const std::string& callpoint;
  HookKind kind;
  confd_hkeypath_t* path;  ///< Of the entry, or of the leaf that was set.
  confd_value_t* value;    ///< Of the leaf, else null.
};

/// Takes part in the transactions that change something below a callpoint. It may write into the
/// transaction, and refuses it by CONFD_ERR or an exception.
class Hooks {
 public:
  virtual ~Hooks() = default;

  /// Before the first call, and after the last one of a transaction whose Begin was not refused.
  /// The transaction stays the caller's. CONFD_OK, or CONFD_ERR to refuse it.
  virtual int Begin(Transaction* transaction) = 0;
  virtual void End(Transaction* transaction) = 0;

  /// Tells of one change. CONFD_OK, or CONFD_ERR to refuse the transaction; nothing more is told of
  /// it then.
  virtual int Call(Transaction* transaction, const HookCall& call) = 0;
};

/// Calls `hooks` for each of `changes` below a callpoint: removed entries, then created ones each
/// followed by its leaves that are set, then what changes in other entries. What the hooks write
/// below a callpoint is told as well, behind the call that wrote it. Without changes below a
/// callpoint nothing is called.
/// Throws Refusal with callpoint and path when a hook refuses; what a hook throws
/// propagates.
void RunHooks(const Schema& schema, std::vector<common::Change>* changes, Transaction* transaction,
              Hooks* hooks);

}  // namespace host
