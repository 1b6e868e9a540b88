// ConfD's management agent API: reads of a transaction.

#include "confd/fake_access.h"
#include "confd_maapi.h"

namespace {

template <typename Result>
int Read(const char* call, int sock, int thandle, Result result, const char* format,
         va_list arguments) {
  return fake::RunInTransaction(call, sock, thandle, format, arguments,
                                [result](const fake::Database& candidate, const std::string& path) {
                                  return fake::ReadLeaf(candidate, path, result);
                                });
}

}  // namespace

int maapi_get_str_elem(int sock, int thandle, char* buf, int n, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result =
      Read("maapi_get_str_elem", sock, thandle, fake::TextRoom{buf, n}, fmt, arguments);
  va_end(arguments);
  return result;
}

int maapi_get_u_int16_elem(int sock, int thandle, uint16_t* rval, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = Read("maapi_get_u_int16_elem", sock, thandle, rval, fmt, arguments);
  va_end(arguments);
  return result;
}

int maapi_get_u_int32_elem(int sock, int thandle, uint32_t* rval, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = Read("maapi_get_u_int32_elem", sock, thandle, rval, fmt, arguments);
  va_end(arguments);
  return result;
}

int maapi_get_bool_elem(int sock, int thandle, int* rval, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = Read("maapi_get_bool_elem", sock, thandle, rval, fmt, arguments);
  va_end(arguments);
  return result;
}

int maapi_get_ipv4_and_plen_elem(int sock, int thandle, confd_ipv4_prefix* rval, const char* fmt,
                                 ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = Read("maapi_get_ipv4_and_plen_elem", sock, thandle, rval, fmt, arguments);
  va_end(arguments);
  return result;
}

int maapi_get_ipv6_and_plen_elem(int sock, int thandle, confd_ipv6_prefix* rval, const char* fmt,
                                 ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = Read("maapi_get_ipv6_and_plen_elem", sock, thandle, rval, fmt, arguments);
  va_end(arguments);
  return result;
}
