// The two calls of the zlog library that the system makes, for a system that does not have it: the
// platform then serves them itself. Where zlog is installed, its own header is used instead.
#pragma once

#include <cstddef>

extern "C" {

struct zlog_category_s;
typedef struct zlog_category_s zlog_category_t;

/// Writes one record. `file` and `function` are `file_length` and `function_length` bytes long.
/// Keeps errno.
void zlog(zlog_category_t* category, const char* file, size_t file_length, const char* function,
          size_t function_length, long line, int level, const char* format, ...)
    __attribute__((format(printf, 8, 9)));

/// Non-zero when a record of this level would be written.
int zlog_level_enabled(zlog_category_t* category, int level);

}  // extern "C"
