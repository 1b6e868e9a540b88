// Log records of the host platform itself.
#pragma once

#include <zlog.h>

namespace host {

/// The levels of the log, lowest first; the numbers are those that programs log by.
enum LogLevel { kDetail = 10, kProgress = 11, kNotice = 12 };

/// The category of faults, whatever their level.
constexpr char kFaultCategory[] = "fault";

/// The category "platform", registered at the first call; never destroyed.
zlog_category_t* LogCategory();

}  // namespace host

/// Writes a record of the platform; the rest is a printf format and its arguments.
#define HOST_LOG(level, ...)                                                                \
  zlog(host::LogCategory(), __FILE__, sizeof(__FILE__) - 1, __func__, sizeof(__func__) - 1, \
       __LINE__, level, __VA_ARGS__)
