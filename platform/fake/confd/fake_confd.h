// ConfD's side: the databases, the sessions on them and what the program asked for.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "confd/fake_database.h"
#include "confd_cdb.h"
#include "vkconfd/base_handler.h"

namespace fake {

/// The connection that handlers are given.
class ConfdInterface : public VkConfdInterface {
 public:
  static constexpr int kMaapiSocket = 701;
  int MaapiSocket() override { return kMaapiSocket; }
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

  Database running;
  std::optional<Database> pre_commit;  ///< Set while a commit is delivered.
  ConfdInterface interface;
  std::vector<Rebind> rebinds;  ///< Calls of maapi_rebind_listener, also failed ones.
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
