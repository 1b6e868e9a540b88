// Log records and faults. Both carry the source path, function and line of the place of use, so a
// handler names only what it has to say.
#pragma once

#include <zlog.h>

#include <array>
#include <cstddef>
#include <cstdio>

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

/// Writes a record of `category` at `level`; the rest is a printf format and its arguments.
#define APP_LOG(category, level, ...)                                                  \
  do {                                                                                 \
    static constexpr auto app_source_path = app::SourcePath(__FILE__);                 \
    zlog(category, app_source_path.data(), app::TextLength(app_source_path), __func__, \
         sizeof(__func__) - 1, __LINE__, level, __VA_ARGS__);                          \
  } while (false)

/// Raises a fault with `code` and `line`; the rest is a printf format and its arguments.
#define APP_FAULT_AT(code, line, ...)                                             \
  do {                                                                            \
    static constexpr auto app_source_path = app::SourcePath(__FILE__);            \
    char app_fault_text[app::kFaultTextSize] = {};                                \
    snprintf(app_fault_text, sizeof app_fault_text, __VA_ARGS__);                 \
    vkmw_gen_fault(code, __func__, app_source_path.data(), line, app_fault_text); \
  } while (false)
