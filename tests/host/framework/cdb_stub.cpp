#include "cdb_stub.h"

#include <arpa/inet.h>

#include <cstdarg>
#include <cstdio>

#include "confd/path_text.h"
#include "confd_cdb.h"

namespace {

/// The text of the leaf; null where there is none.
const std::string* Find(int sock, const char* format, va_list arguments) {
  const std::string path = common::FormatPath(format, arguments);
  const auto found = host::test::Leaves().find(path);
  return sock == host::test::kSocket && found != host::test::Leaves().end() ? &found->second
                                                                            : nullptr;
}

}  // namespace

std::map<std::string, std::string>& host::test::Leaves() {
  static std::map<std::string, std::string> leaves;
  return leaves;
}

#define STUB_FIND(text)                                 \
  va_list arguments;                                    \
  va_start(arguments, fmt);                             \
  const std::string* text = Find(sock, fmt, arguments); \
  va_end(arguments);                                    \
  if (text == nullptr) return CONFD_ERR

int cdb_get_str(int sock, char* rval, int n, const char* fmt, ...) {
  STUB_FIND(text);
  snprintf(rval, static_cast<size_t>(n), "%s", text->c_str());
  return CONFD_OK;
}

int cdb_get_u_int32(int sock, uint32_t* rval, const char* fmt, ...) {
  STUB_FIND(text);
  *rval = static_cast<uint32_t>(std::stoul(*text));
  return CONFD_OK;
}

int cdb_get_ipv4_and_plen(int sock, confd_ipv4_prefix* rval, const char* fmt, ...) {
  STUB_FIND(text);
  return inet_pton(AF_INET, text->c_str(), &rval->ip) == 1 ? CONFD_OK : CONFD_ERR;
}

int cdb_get_ipv6_and_plen(int sock, confd_ipv6_prefix* rval, const char* fmt, ...) {
  STUB_FIND(text);
  return inet_pton(AF_INET6, text->c_str(), &rval->ip6) == 1 ? CONFD_OK : CONFD_ERR;
}
