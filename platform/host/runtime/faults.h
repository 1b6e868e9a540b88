// Faults: a log record of their own category, and kept by the process for the operator to see.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "vkmw/vkmw.h"

namespace host {

struct Fault {
  std::chrono::system_clock::time_point time;
  int code;
  std::string function;
  std::string file;
  int line;
  std::string text;
};

/// How many a process keeps.
constexpr size_t kKeptFaults = 32;

/// Ends the process with status 1; a service manager is told why, and starts it anew.
[[noreturn]] void EndAfterFault(const std::string& text);

}  // namespace host

/// Raises a fault of the platform itself; `text` is a std::string.
#define HOST_FAULT(text) vkmw_gen_fault(0, __func__, __FILE__, __LINE__, (text).c_str())

/// The same for one that the process cannot go on after: it ends with status 1.
#define HOST_LAST_FAULT(text)        \
  do {                               \
    const std::string& why = (text); \
    HOST_FAULT(why);                 \
    host::EndAfterFault(why);        \
  } while (false)
