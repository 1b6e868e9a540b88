// ConfD's side: the databases, the sessions on them and what the program asked for.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "confd/fake_database.h"
#include "confd_cdb.h"
#include "confd_dp.h"
#include "vkconfd/base_handler.h"

namespace fake {

/// The connection that handlers are given.
class ConfdInterface : public VkConfdInterface {
 public:
  static constexpr int kMaapiSocket = 701;
  int MaapiSocket() override { return kMaapiSocket; }
};

/// The transaction that is being prepared: what the configuration will be, and its context.
class Transaction {
 public:
  static constexpr int kHandle = 17;

  explicit Transaction(Database base) : candidate(std::move(base)) {}
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  Database candidate;
  VkConfdInterface* attached = nullptr;  ///< Whose MAAPI socket reaches the transaction.

  /// What was written by MAAPI calls and no callpoint was told of yet, the oldest first.
  std::deque<std::vector<common::Change>> writes;

  /// For the callbacks; valid while the transaction lives.
  confd_trans_ctx* Context() {
    daemon_.d_opaque = attached;
    return &context_;
  }

 private:
  confd_daemon_ctx daemon_ = {};
  confd_trans_ctx context_ = {&daemon_, kHandle};
};

/// A session that the program opened by the session class, and the flag that it gave.
struct SessionRecord {
  int socket;
  cdb_db_type database;
  bool flag;
};

struct Rebind {
  int socket;
  int listener;
};

class Confd {
 public:
  /// Makes the next call whose journal line begins with `call` fail with this error, as in
  /// "cdb_get" or "cdb_get /a/b" or "session open". One call each; further ones queue up.
  void RefuseNext(const std::string& call, int code, const std::string& text);

  /// Takes down a call. False, with the error set, when it is one to be refused.
  bool Accept(const std::string& call);

  /// Opens a session and returns its socket. Throws std::runtime_error when it is refused, and for
  /// the pre-commit database outside a delivery.
  int OpenSession(cdb_db_type database);
  void CloseSession(int socket);

  /// The database that a socket reads; null, with the error set, when it has no session.
  const Database* SessionDatabase(int socket) const;

  /// Begins a transaction on a copy of the running configuration. It ends with EndTransaction.
  Transaction& BeginTransaction();
  void EndTransaction() { transaction.reset(); }

  /// The candidate that a MAAPI socket and a handle reach; null, with the error set, when there is
  /// no such transaction.
  Database* Candidate(int socket, int handle) const;

  /// Takes down a write of the transaction: the change `op` of what is at `path` now.
  void NoteWrite(const std::string& path, confd_iter_op op) const;

  Database running;
  std::optional<Database> pre_commit;  ///< Set while a commit is delivered.
  ConfdInterface interface;
  std::vector<SessionRecord> sessions;       ///< In the order that they were opened.
  std::vector<Rebind> rebinds;               ///< Calls of maapi_rebind_listener, also failed ones.
  std::unique_ptr<Transaction> transaction;  ///< Null when none is being prepared.
  int open_cursors = 0;                      ///< MAAPI cursors that were not destroyed yet.
  int opened_sessions = 0;
  int closed_sessions = 0;
  int printed_values = 0;     ///< Calls of confd_pp_value.
  int printed_key_paths = 0;  ///< Calls of confd_pp_kpath.

 private:
  struct Refusal {
    std::string call;
    int code;
    std::string text;
  };

  std::vector<Refusal> refusals_;
  std::map<int, cdb_db_type> sessions_;
};

}  // namespace fake
