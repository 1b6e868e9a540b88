// The cdb_ calls: reads of the current engine's sessions.
#include <cstdarg>
#include <stdexcept>
#include <string>

#include "confd/error.h"
#include "confd/path_text.h"
#include "confd_cdb.h"
#include "config/engine.h"
#include "vkconfd/cdb_session.h"

namespace host {

namespace {

/// Calls `read` with the session behind `sock` and the path; its result, or CONFD_ERR when there
/// is no such session or path.
template <typename Read>
int ReadPath(int sock, const char* format, va_list arguments, Read read) {
  try {
    const std::string path = common::FormatPath(format, arguments);
    Engine* engine = Engine::Current();
    Reader* session = engine == nullptr ? nullptr : engine->FindSession(sock);
    if (session != nullptr) return read(session, path);
    return common::Fail(CONFD_ERR_NOSESSION, "path \"" + path + "\": socket " +
                                                 std::to_string(sock) + " has no open session");
  } catch (const std::invalid_argument& error) {
    return common::Fail(CONFD_ERR_BADPATH, error.what());
  }
}

int Get(Reader* session, const std::string& path, confd_value_t* value) {
  const confd_value_t found = session->Get(path);
  if (found.type == C_NOEXISTS) {
    return common::Fail(CONFD_ERR_NOEXISTS, "path \"" + path + "\": the element does not exist");
  }
  *value = found;
  return CONFD_OK;
}

int OpenSession(const VkConfdInterface* confd_interface, cdb_db_type database) {
  Engine* engine = Engine::Current();
  if (confd_interface == nullptr || engine == nullptr) {
    throw std::runtime_error("a CDB session needs a connection");
  }
  return engine->OpenSession(database);
}

}  // namespace

}  // namespace host

int cdb_get(int sock, confd_value_t* v, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = host::ReadPath(
      sock, fmt, arguments,
      [v](host::Reader* session, const std::string& path) { return host::Get(session, path, v); });
  va_end(arguments);
  return result;
}

int cdb_num_instances(int sock, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = host::ReadPath(
      sock, fmt, arguments,
      [](host::Reader* session, const std::string& path) { return session->Count(path); });
  va_end(arguments);
  return result;
}

VkConfdCdbSessionBase::VkConfdCdbSessionBase(VkConfdInterface* confd_interface,
                                             cdb_db_type database, bool /*flag*/)
    : socket_(host::OpenSession(confd_interface, database)) {}

VkConfdCdbSessionBase::~VkConfdCdbSessionBase() {
  host::Engine* engine = host::Engine::Current();
  if (engine != nullptr) engine->CloseSession(socket_);
}
