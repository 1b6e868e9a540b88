// The cdb_ calls: reads of the sessions of the process's engine.
#include <cstdarg>
#include <stdexcept>
#include <string>

#include "confd/value_text.h"
#include "confd_cdb.h"
#include "config/calls.h"
#include "config/engine.h"
#include "runtime/process.h"
#include "vkconfd/cdb_session.h"

namespace host {

namespace {

/// Calls `read` with the session behind `sock` and the path.
template <typename Read>
int ReadPath(int sock, const char* format, va_list arguments, Read read) {
  return CallWithPath(format, arguments, [sock, &read](const std::string& path) {
    Engine* engine = ThisProcess().engine;
    Reader* session = engine == nullptr ? nullptr : engine->FindSession(sock);
    if (session != nullptr) return read(session, path);
    throw CallRefused(CONFD_ERR_NOSESSION, "path \"" + path + "\": socket " + std::to_string(sock) +
                                               " has no open session");
  });
}

template <typename Result>
int GetTypedAt(int sock, const char* format, va_list arguments, Result result) {
  return ReadPath(sock, format, arguments, [&result](Reader* session, const std::string& path) {
    return GetTyped(session, path, result);
  });
}

int Get(Reader* session, const std::string& path, confd_value_t* value) {
  *value = common::CopyValue(GetExisting(session, path).Value());
  return CONFD_OK;
}

/// The result of a read of children, of which every element has some.
int ExpectSome(int children, const std::string& path) {
  if (children > 0) return children;
  throw CallRefused(CONFD_ERR_NOEXISTS, "path \"" + path + "\": the element does not exist");
}

int OpenSession(const VkConfdInterface* confd_interface, cdb_db_type database) {
  Engine* engine = ThisProcess().engine;
  if (confd_interface == nullptr || engine == nullptr) {
    throw std::runtime_error("a CDB session needs a connection");
  }
  return engine->OpenSession(database);
}

}  // namespace

}  // namespace host

int cdb_get(int sock, confd_value_t* v, const char* fmt, ...) {
  const auto get = [v](host::Reader* session, const std::string& path) {
    return host::Get(session, path, v);
  };
  HOST_CALL_WITH_ARGUMENTS(fmt, host::ReadPath(sock, fmt, arguments, get));
}

int cdb_get_object(int sock, confd_value_t* values, int n, const char* fmt, ...) {
  const auto get = [values, n](host::Reader* session, const std::string& path) {
    return host::ExpectSome(session->GetObject(path, values, n), path);
  };
  HOST_CALL_WITH_ARGUMENTS(fmt, host::ReadPath(sock, fmt, arguments, get));
}

int cdb_get_objects(int sock, confd_value_t* values, int n, int ix, int nobj, const char* fmt,
                    ...) {
  const auto get = [=](host::Reader* session, const std::string& path) {
    return host::ExpectSome(session->GetObjects(path, ix, nobj, values, n), path);
  };
  HOST_CALL_WITH_ARGUMENTS(fmt, host::ReadPath(sock, fmt, arguments, get));
}

int cdb_num_instances(int sock, const char* fmt, ...) {
  const auto count = [](host::Reader* session, const std::string& path) {
    return session->Count(path);
  };
  HOST_CALL_WITH_ARGUMENTS(fmt, host::ReadPath(sock, fmt, arguments, count));
}

int cdb_get_str(int sock, char* rval, int n, const char* fmt, ...) {
  const host::TextBuffer buffer = {rval, n};
  HOST_CALL_WITH_ARGUMENTS(fmt, host::GetTypedAt(sock, fmt, arguments, buffer));
}

int cdb_get_u_int16(int sock, uint16_t* rval, const char* fmt, ...) {
  HOST_CALL_WITH_ARGUMENTS(fmt, host::GetTypedAt(sock, fmt, arguments, rval));
}

int cdb_get_u_int32(int sock, uint32_t* rval, const char* fmt, ...) {
  HOST_CALL_WITH_ARGUMENTS(fmt, host::GetTypedAt(sock, fmt, arguments, rval));
}

int cdb_get_int32(int sock, int32_t* rval, const char* fmt, ...) {
  HOST_CALL_WITH_ARGUMENTS(fmt, host::GetTypedAt(sock, fmt, arguments, rval));
}

int cdb_get_binary(int sock, unsigned char** rval, int* n, const char* fmt, ...) {
  const host::ByteBuffer buffer = {rval, n};
  HOST_CALL_WITH_ARGUMENTS(fmt, host::GetTypedAt(sock, fmt, arguments, buffer));
}

int cdb_get_bool(int sock, int* rval, const char* fmt, ...) {
  HOST_CALL_WITH_ARGUMENTS(fmt, host::GetTypedAt(sock, fmt, arguments, host::Truth{rval}));
}

int cdb_get_ipv4_and_plen(int sock, confd_ipv4_prefix* rval, const char* fmt, ...) {
  HOST_CALL_WITH_ARGUMENTS(fmt, host::GetTypedAt(sock, fmt, arguments, rval));
}

int cdb_get_ipv6_and_plen(int sock, confd_ipv6_prefix* rval, const char* fmt, ...) {
  HOST_CALL_WITH_ARGUMENTS(fmt, host::GetTypedAt(sock, fmt, arguments, rval));
}

VkConfdCdbSessionBase::VkConfdCdbSessionBase(VkConfdInterface* confd_interface,
                                             cdb_db_type database, bool /*flag*/)
    : socket_(host::OpenSession(confd_interface, database)) {}

VkConfdCdbSessionBase::~VkConfdCdbSessionBase() {
  host::Engine* engine = host::ThisProcess().engine;
  if (engine != nullptr) engine->CloseSession(socket_);
}
