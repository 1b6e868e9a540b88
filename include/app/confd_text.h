// Texts and ownership of ConfD values.
#pragma once

#include <cstddef>

#include "app/trace.h"
#include "confd_lib.h"

namespace app {

/// Room for a key path's and for a value's text with the terminating zero, in bytes; a longer text
/// is cut.
constexpr size_t kKeyPathTextSize = 128;
constexpr size_t kValueTextSize = 8192;

/// The text of a key path.
class KeyPathText {
 public:
  explicit KeyPathText(const confd_hkeypath_t* kp) {
    confd_pp_kpath(text_, static_cast<int>(sizeof text_), kp);
  }
  const char* c_str() const { return text_; }

 private:
  char text_[kKeyPathTextSize] = {};
};

/// The text of a value. Expensive: for a record at detail level, ask first whether it is enabled.
class ValueText {
 public:
  explicit ValueText(const confd_value_t* value) {
    confd_pp_value(text_, static_cast<int>(sizeof text_), value);
  }
  const char* c_str() const { return text_; }

 private:
  char text_[kValueTextSize] = {};
};

/// Frees a value that ConfD handed out, also when an exception passes.
class ValueGuard {
 public:
  explicit ValueGuard(confd_value_t* value) : value_(value) {}
  ~ValueGuard() { confd_free_value(value_); }
  ValueGuard(const ValueGuard&) = delete;
  ValueGuard& operator=(const ValueGuard&) = delete;

 private:
  confd_value_t* value_;
};

}  // namespace app

/// Writes a record at detail level with the text of `value` as the only argument of `format`. The
/// text is not made when the level is off.
#define APP_LOG_VALUE(category, format, value)                                \
  do {                                                                        \
    if (zlog_level_enabled(category, app::kDetail) != 0) {                    \
      APP_LOG(category, app::kDetail, format, app::ValueText(value).c_str()); \
    }                                                                         \
  } while (false)
