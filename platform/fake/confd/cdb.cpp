// ConfD's reads of the configuration database.

#include "confd/fake_access.h"
#include "confd/value_text.h"
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

/// Hands out copies of an entry's first `n` leaves; returns how many it can have.
int TakeLeaves(const fake::Node& entry, confd_value_t* values, int n) {
  const std::vector<confd_value_t> leaves = fake::Database::LeafValues(entry);
  for (int i = 0; i < n; ++i) {
    const auto place = static_cast<size_t>(i);
    values[i] =
        place < leaves.size() ? common::CopyValue(leaves[place]) : confd_value_t{C_NOEXISTS, {}};
  }
  return static_cast<int>(leaves.size());
}

/// The same for `count` entries of a list from the one at `first`.
int TakeEntries(const fake::Database& database, const std::string& list, int first, int count,
                confd_value_t* values, int n) {
  const std::vector<const fake::Node*> entries = database.Entries(list);
  int leaves = common::Fail(CONFD_ERR_NOEXISTS, list + " has no such entry");
  for (auto i = static_cast<size_t>(first); i < entries.size() && count > 0; ++i, --count) {
    leaves = TakeLeaves(*entries[i], values, n);
    values += n;
  }
  return leaves;
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

int cdb_get_int32(int sock, int32_t* rval, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = Read("cdb_get_int32", sock, fake::Int32Room{rval}, fmt, arguments);
  va_end(arguments);
  return result;
}

int cdb_get_binary(int sock, unsigned char** rval, int* n, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = Read("cdb_get_binary", sock, fake::ByteRoom{rval, n}, fmt, arguments);
  va_end(arguments);
  return result;
}

int cdb_get_object(int sock, confd_value_t* values, int n, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = RunInSession("cdb_get_object", sock, fmt, arguments,
                                  [=](const fake::Database& database, const std::string& path) {
                                    const fake::Node* entry = database.Find(path);
                                    return entry == nullptr ? common::Fail(CONFD_ERR_NOEXISTS,
                                                                           path + " does not exist")
                                                            : TakeLeaves(*entry, values, n);
                                  });
  va_end(arguments);
  return result;
}

int cdb_get_objects(int sock, confd_value_t* values, int n, int ix, int nobj, const char* fmt,
                    ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = RunInSession("cdb_get_objects", sock, fmt, arguments,
                                  [=](const fake::Database& database, const std::string& path) {
                                    return TakeEntries(database, path, ix, nobj, values, n);
                                  });
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
