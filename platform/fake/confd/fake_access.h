// What the reads and writes of the ConfD calls have in common.
#pragma once

#include <cstdarg>
#include <exception>
#include <string>

#include "confd/error.h"
#include "confd/path_text.h"
#include "fake_device.h"

namespace fake {

/// Room for a text that a call hands out.
struct TextRoom {
  char* text;
  int size;
};

/// Where bytes go that the caller gives back with free().
struct ByteRoom {
  unsigned char** bytes;
  int* size;
};

/// A number; a plain int is 0 or 1.
struct Int32Room {
  int32_t* number;
};

/// Hand out a value. False when it is of another type.
bool Take(const confd_value_t& value, confd_value_t* result);
bool Take(const confd_value_t& value, TextRoom room);
bool Take(const confd_value_t& value, ByteRoom room);
bool Take(const confd_value_t& value, Int32Room room);
bool Take(const confd_value_t& value, uint16_t* result);
bool Take(const confd_value_t& value, uint32_t* result);
bool Take(const confd_value_t& value, int* result);
bool Take(const confd_value_t& value, confd_ipv4_prefix* result);
bool Take(const confd_value_t& value, confd_ipv6_prefix* result);

/// Hands out the value of the leaf at `path`; a call's result.
template <typename Result>
int ReadLeaf(const Database& database, const std::string& path, Result result) {
  const Node* node = database.Find(path);
  if (node == nullptr || !node->value.IsSet()) {
    return common::Fail(CONFD_ERR_NOEXISTS, path + " has no value");
  }
  if (Take(node->value.Value(), result)) return CONFD_OK;
  return common::Fail(CONFD_ERR_BADTYPE, path + " is of another type");
}

/// Runs one call, which the journal has as `call` and the path that the format makes. `find` gets
/// the state and returns the database, null with the error set; `step` gets it and the path, and
/// returns the call's result. A text that is no path makes the call fail.
template <typename Find, typename Step>
int RunCall(const std::string& call, const char* format, va_list arguments, Find find, Step step) {
  try {
    const std::string path = common::FormatPath(format, arguments);
    Confd& confd = Device::Instance().confd;
    if (!confd.Accept(call + " " + path)) return CONFD_ERR;
    auto* database = find(confd);
    return database == nullptr ? static_cast<int>(CONFD_ERR) : step(*database, path);
  } catch (const std::exception& exception) {
    return common::Fail(CONFD_ERR_BADPATH, exception.what());
  }
}

/// Runs a call on the candidate of the transaction with the handle `thandle`.
template <typename Step>
int RunInTransaction(const std::string& call, int sock, int thandle, const char* format,
                     va_list arguments, Step step) {
  return RunCall(
      call, format, arguments, [=](Confd& confd) { return confd.Candidate(sock, thandle); }, step);
}

}  // namespace fake
