// ConfD's reads of the configuration database.

#include <cstdarg>
#include <exception>
#include <string>

#include "confd/error.h"
#include "confd/path_text.h"
#include "confd/value_text.h"
#include "confd_cdb.h"
#include "fake_device.h"

namespace {

/// Runs one read: `read` gets the session's database and the path that the format makes, and
/// returns the call's result. A text that is no path makes the call fail.
template <typename Read>
int RunRead(const char* call, int sock, const char* format, va_list arguments, Read read) {
  try {
    const std::string path = common::FormatPath(format, arguments);
    fake::Confd& confd = fake::Device::Instance().confd;
    if (!confd.Accept(std::string(call) + " " + path)) return CONFD_ERR;
    const fake::Database* database = confd.SessionDatabase(sock);
    return database == nullptr ? CONFD_ERR : read(*database, path);
  } catch (const std::exception& exception) {
    return common::Fail(CONFD_ERR_BADPATH, exception.what());
  }
}

}  // namespace

int cdb_get(int sock, confd_value_t* v, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = RunRead("cdb_get", sock, fmt, arguments,
                             [v](const fake::Database& database, const std::string& path) {
                               const fake::Node* node = database.Find(path);
                               if (node == nullptr || !node->value.IsSet()) {
                                 return common::Fail(CONFD_ERR_NOEXISTS, path + " has no value");
                               }
                               *v = common::CopyValue(node->value.Value());
                               return static_cast<int>(CONFD_OK);
                             });
  va_end(arguments);
  return result;
}

int cdb_num_instances(int sock, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = RunRead("cdb_num_instances", sock, fmt, arguments,
                             [](const fake::Database& database, const std::string& path) {
                               return database.Instances(path);
                             });
  va_end(arguments);
  return result;
}
