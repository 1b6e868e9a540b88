// The maapi_ calls on the transaction that callpoints are called for.
#include <cstdarg>
#include <memory>
#include <string>
#include <utility>

#include "confd_maapi.h"
#include "config/calls.h"
#include "config/engine.h"
#include "runtime/process.h"

namespace host {

namespace {

/// Calls `operation` with the transaction of the handle and the path.
template <typename Operation>
int InTransaction(int thandle, const char* format, va_list arguments, Operation operation) {
  return CallWithPath(format, arguments, [thandle, &operation](const std::string& path) {
    Engine* engine = ThisProcess().engine;
    Transaction* transaction = engine == nullptr ? nullptr : engine->FindTransaction(thandle);
    if (transaction != nullptr) return operation(transaction, path);
    throw CallRefused(CONFD_ERR_NOSESSION,
                      "path \"" + path + "\": there is no transaction " + std::to_string(thandle));
  });
}

template <typename Result>
int GetTypedIn(int thandle, const char* format, va_list arguments, Result result) {
  return InTransaction(thandle, format, arguments,
                       [&result](const Transaction* transaction, const std::string& path) {
                         Reader reader = transaction->Read();
                         return GetTyped(&reader, path, result);
                       });
}

int Create(Transaction* transaction, const std::string& path) {
  transaction->Create(path);
  return CONFD_OK;
}

int Delete(Transaction* transaction, const std::string& path) {
  transaction->Delete(path);
  return CONFD_OK;
}

/// A cursor's position: what the list held when the cursor was made, so that writes do not move it.
struct Position {
  std::vector<Transaction::Keys> entries;
  size_t next = 0;
};

}  // namespace

}  // namespace host

int maapi_get_str_elem(int /*sock*/, int thandle, char* buf, int n, const char* fmt, ...) {
  const host::TextBuffer buffer = {buf, n};
  HOST_CALL_WITH_ARGUMENTS(fmt, host::GetTypedIn(thandle, fmt, arguments, buffer));
}

int maapi_get_u_int16_elem(int /*sock*/, int thandle, uint16_t* rval, const char* fmt, ...) {
  HOST_CALL_WITH_ARGUMENTS(fmt, host::GetTypedIn(thandle, fmt, arguments, rval));
}

int maapi_get_u_int32_elem(int /*sock*/, int thandle, uint32_t* rval, const char* fmt, ...) {
  HOST_CALL_WITH_ARGUMENTS(fmt, host::GetTypedIn(thandle, fmt, arguments, rval));
}

int maapi_get_bool_elem(int /*sock*/, int thandle, int* rval, const char* fmt, ...) {
  HOST_CALL_WITH_ARGUMENTS(fmt, host::GetTypedIn(thandle, fmt, arguments, host::Truth{rval}));
}

int maapi_get_ipv4_and_plen_elem(int /*sock*/, int thandle, confd_ipv4_prefix* rval,
                                 const char* fmt, ...) {
  HOST_CALL_WITH_ARGUMENTS(fmt, host::GetTypedIn(thandle, fmt, arguments, rval));
}

int maapi_get_ipv6_and_plen_elem(int /*sock*/, int thandle, confd_ipv6_prefix* rval,
                                 const char* fmt, ...) {
  HOST_CALL_WITH_ARGUMENTS(fmt, host::GetTypedIn(thandle, fmt, arguments, rval));
}

int maapi_create(int /*sock*/, int thandle, const char* fmt, ...) {
  HOST_CALL_WITH_ARGUMENTS(fmt, host::InTransaction(thandle, fmt, arguments, host::Create));
}

int maapi_delete(int /*sock*/, int thandle, const char* fmt, ...) {
  HOST_CALL_WITH_ARGUMENTS(fmt, host::InTransaction(thandle, fmt, arguments, host::Delete));
}

int maapi_set_elem2(int /*sock*/, int thandle, const char* strval, const char* fmt, ...) {
  const auto set = [strval](host::Transaction* transaction, const std::string& path) {
    transaction->Set(path, strval);
    return CONFD_OK;
  };
  HOST_CALL_WITH_ARGUMENTS(fmt, host::InTransaction(thandle, fmt, arguments, set));
}

int maapi_init_cursor(int /*sock*/, int thandle, maapi_cursor* cursor, const char* fmt, ...) {
  cursor->n = 0;
  cursor->position = nullptr;
  const auto init = [cursor](const host::Transaction* transaction, const std::string& path) {
    auto position = std::make_unique<host::Position>();
    position->entries = transaction->EntryKeys(path);
    cursor->position = position.release();
    return CONFD_OK;
  };
  HOST_CALL_WITH_ARGUMENTS(fmt, host::InTransaction(thandle, fmt, arguments, init));
}

int maapi_get_next(maapi_cursor* cursor) {
  auto* position = static_cast<host::Position*>(cursor->position);
  cursor->n = 0;
  if (position == nullptr) return common::Fail(CONFD_ERR_NOSESSION, "the cursor is at no list");
  if (position->next == position->entries.size()) return CONFD_OK;
  // The values stay the position's.
  for (const common::OwnedValue& key : position->entries[position->next]) {
    cursor->keys[cursor->n++] = key.Value();
  }
  ++position->next;
  return CONFD_OK;
}

void maapi_destroy_cursor(maapi_cursor* cursor) {
  delete static_cast<host::Position*>(cursor->position);
  cursor->position = nullptr;
  cursor->n = 0;
}
