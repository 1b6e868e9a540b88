#include <zlog.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string>

#include "fake_device.h"

namespace {

std::string FormatText(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = vsnprintf(nullptr, 0, format, arguments);
  std::string text(static_cast<size_t>(length) + 1, '\0');
  vsnprintf(text.data(), text.size(), format, again);
  va_end(again);
  text.pop_back();
  return text;
}

}  // namespace

void zlog(zlog_category_t* category, const char* file, size_t file_length, const char* function,
          size_t function_length, long line, int level, const char* format, ...) {
  const int kept_errno = errno;
  va_list arguments;
  va_start(arguments, format);
  const std::string text = FormatText(format, arguments);
  va_end(arguments);
  fake::Device::Instance().log.Write({category->name,
                                      {file, file_length},
                                      {function, function_length},
                                      line,
                                      level,
                                      text,
                                      format});
  errno = kept_errno;
}

int zlog_level_enabled(zlog_category_t* /*category*/, int level) {
  return fake::Device::Instance().log.IsEnabled(level) ? 1 : 0;
}
