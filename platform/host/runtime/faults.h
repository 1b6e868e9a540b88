// Faults: a log record of their own category, and kept by the process for the operator to see.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "vkmw/vkmw.h"

namespace host {

/// As vkmw_gen_fault() was told of it.
struct Fault {
  std::chrono::system_clock::time_point time;
  int code;              ///< 1 for one that the program cannot go on after, else 0.
  std::string function;  ///< Where it was raised, with file and line.
  std::string file;
  int line;
  std::string text;  ///< For people.
};

/// How many a process keeps; an older one goes for each that comes then.
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
