// Log records and faults. Both carry the source path, function and line of the place of use, so a
// handler names only what it has to say.
#pragma once

#include <zlog.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vkmw/vkmw.h"

namespace app {

enum LogLevel {
  kDetail = 10,    ///< Values, key paths and operations seen, each step of a parse.
  kProgress = 11,  ///< Loaded, bound, forced, started.
  kNotice = 12     ///< Failures, ignored input, start and finish, HA role.
};

/// The program's name, the name of its log category and the start of its handlers' categories.
constexpr char kProgramName[] = "snmp-app";

/// Size of a fault's text with its terminating zero, in bytes; a longer one is cut.
constexpr size_t kFaultTextSize = 300;

/// A source path that ends where the file name extension `file` has begins.
template <size_t N>
constexpr std::array<char, N> SourcePath(const char (&file)[N]) {
  size_t end = N - 1;
  for (size_t i = 0; i + 1 < N; ++i) {
    if (file[i] == '.') end = i;
  }
  std::array<char, N> path{};
  for (size_t i = 0; i < end; ++i) path[i] = file[i];
  return path;
}

/// Length of the text in `path`, in bytes.
template <size_t N>
constexpr size_t TextLength(const std::array<char, N>& path) {
  size_t length = 0;
  while (path[length] != '\0') ++length;
  return length;
}

}  // namespace app

/// Writes a record of `category` at `level` in the name of `function`, for a step that several
/// operations share; the rest is a printf format and its arguments.
#define APP_LOG_FROM(function, category, level, ...)                                   \
  do {                                                                                 \
    static constexpr auto app_source_path = app::SourcePath(__FILE__);                 \
    zlog(category, app_source_path.data(), app::TextLength(app_source_path), function, \
         strlen(function), __LINE__, level, __VA_ARGS__);                              \
  } while (false)

/// The same in the name of the function that it stands in.
#define APP_LOG(category, level, ...) APP_LOG_FROM(__func__, category, level, __VA_ARGS__)

/// Raises a fault with `code`, `function` and `line`; the rest is a printf format and its
/// arguments.
#define APP_FAULT_FROM(function, code, line, ...)                                 \
  do {                                                                            \
    static constexpr auto app_source_path = app::SourcePath(__FILE__);            \
    char app_fault_text[app::kFaultTextSize] = {};                                \
    if (snprintf(app_fault_text, sizeof app_fault_text, __VA_ARGS__) < 0) {       \
      app_fault_text[0] = '\0';                                                   \
    }                                                                             \
    vkmw_gen_fault(code, function, app_source_path.data(), line, app_fault_text); \
  } while (false)

/// Raises a fault that is reported while processing goes on.
#define APP_FAULT(...) APP_FAULT_FROM(__func__, 0, __LINE__, __VA_ARGS__)

/// Ends the process with status 1 after a back-trace and a fault with code 1.
#define APP_FATAL_FROM(function, ...)                   \
  do {                                                  \
    vkmw_print_backtrace();                             \
    APP_FAULT_FROM(function, 1, __LINE__, __VA_ARGS__); \
    exit(1);                                            \
  } while (false)
#define APP_FATAL(...) APP_FATAL_FROM(__func__, __VA_ARGS__)
