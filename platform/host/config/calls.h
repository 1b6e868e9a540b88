// What the cdb_ and the maapi_ calls have in common.
#pragma once

#include <cstdarg>
#include <stdexcept>
#include <string>

#include "confd/error.h"
#include "confd/path_text.h"
#include "confd_lib.h"
#include "config/transaction.h"

namespace host {

/// Calls `operation` with the path that a format and its arguments make; returns what it returns.
/// CONFD_ERR with the error state set when it throws for a path that is none, or CallRefused.
template <typename Operation>
int CallWithPath(const char* format, va_list arguments, Operation operation) {
  try {
    return operation(common::FormatPath(format, arguments));
  } catch (const std::invalid_argument& error) {
    return common::Fail(CONFD_ERR_BADPATH, error.what());
  } catch (const CallRefused& error) {
    return common::Fail(error.Code(), error.what());
  }
}

/// The value at a path. Throws as Reader::Get(), and CallRefused when there is none.
common::OwnedValue GetExisting(Reader* reader, const std::string& path);

// Where the value of a typed read goes; all of it is the caller's.

/// A buffer for text and its size in bytes; a longer text is cut, to end with a zero all the same.
struct TextBuffer {
  char* text;
  int size;
};

/// 0 or 1; the other integers are numbers.
struct Truth {
  int* value;
};

/// Where bytes go that the caller gives back with free().
struct ByteBuffer {
  unsigned char** bytes;
  int* size;
};

// Hand out a value. False, with nothing changed, when it is of another type.
bool HandOut(const confd_value_t& value, const TextBuffer& result);
bool HandOut(const confd_value_t& value, const Truth& result);
bool HandOut(const confd_value_t& value, const ByteBuffer& result);
bool HandOut(const confd_value_t& value, int32_t* result);
bool HandOut(const confd_value_t& value, uint16_t* result);
bool HandOut(const confd_value_t& value, uint32_t* result);
bool HandOut(const confd_value_t& value, confd_ipv4_prefix* result);
bool HandOut(const confd_value_t& value, confd_ipv6_prefix* result);

/// Reads the value at a path as one type. Returns CONFD_OK. Throws as GetExisting(), and
/// CallRefused, CONFD_ERR_BADTYPE, when it is of another.
template <typename Result>
int GetTyped(Reader* reader, const std::string& path, Result result) {
  const common::OwnedValue value = GetExisting(reader, path);
  if (HandOut(value.Value(), result)) return CONFD_OK;
  throw CallRefused(CONFD_ERR_BADTYPE, "path \"" + path + "\": the element has another type");
}

}  // namespace host

/// The body of a call with a path: `call` uses what stands behind `fmt` as `arguments`.
#define HOST_CALL_WITH_ARGUMENTS(fmt, call) \
  va_list arguments;                        \
  va_start(arguments, fmt);                 \
  const int call_result = call;             \
  va_end(arguments);                        \
  return call_result
