// ConfD's reads of the configuration database.

#include "confd/fake_access.h"
#include "confd_cdb.h"

namespace {

template <typename Step>
int RunInSession(const char* call, int sock, const char* format, va_list arguments, Step step) {
  return fake::RunCall(
      call, format, arguments,
      [sock](const fake::Confd& confd) { return confd.SessionDatabase(sock); }, step);
}

template <typename Result>
int Read(const char* call, int sock, Result result, const char* format, va_list arguments) {
  return RunInSession(call, sock, format, arguments,
                      [result](const fake::Database& database, const std::string& path) {
                        return fake::ReadLeaf(database, path, result);
                      });
}

}  // namespace

int cdb_get(int sock, confd_value_t* v, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = Read("cdb_get", sock, v, fmt, arguments);
  va_end(arguments);
  return result;
}

int cdb_get_str(int sock, char* rval, int n, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = Read("cdb_get_str", sock, fake::TextRoom{rval, n}, fmt, arguments);
  va_end(arguments);
  return result;
}

int cdb_get_u_int16(int sock, uint16_t* rval, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = Read("cdb_get_u_int16", sock, rval, fmt, arguments);
  va_end(arguments);
  return result;
}

int cdb_get_u_int32(int sock, uint32_t* rval, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = Read("cdb_get_u_int32", sock, rval, fmt, arguments);
  va_end(arguments);
  return result;
}

int cdb_get_bool(int sock, int* rval, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = Read("cdb_get_bool", sock, rval, fmt, arguments);
  va_end(arguments);
  return result;
}

int cdb_get_ipv4_and_plen(int sock, confd_ipv4_prefix* rval, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = Read("cdb_get_ipv4_and_plen", sock, rval, fmt, arguments);
  va_end(arguments);
  return result;
}

int cdb_get_ipv6_and_plen(int sock, confd_ipv6_prefix* rval, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = Read("cdb_get_ipv6_and_plen", sock, rval, fmt, arguments);
  va_end(arguments);
  return result;
}

int cdb_num_instances(int sock, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = RunInSession("cdb_num_instances", sock, fmt, arguments,
                                  [](const fake::Database& database, const std::string& path) {
                                    return database.Instances(path);
                                  });
  va_end(arguments);
  return result;
}
