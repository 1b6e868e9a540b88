// Texts and ownership of ConfD values.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

#include "app/trace.h"
#include "confd_lib.h"

namespace app {

/// Room for a key path's and for a value's text with the terminating zero, in bytes; a longer text
/// is cut.
constexpr size_t kKeyPathTextSize = 128;
constexpr size_t kValueTextSize = 8192;

/// The prefix of a listening interface's name when it stands for an L3 interface.
constexpr char kL3Prefix[] = "l3-";
constexpr size_t kL3PrefixLength = sizeof kL3Prefix - 1;

/// A copy of the text that a C_BUF holds. Throws std::logic_error for a null pointer.
inline std::string BufText(const unsigned char* text, size_t size) {
  if (text == nullptr) throw std::logic_error("basic_string::_M_construct null not valid");
  return {reinterpret_cast<const char*>(text), size};
}

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

/// Writes a record at detail level, in the name of `function`, with the text of `value` as the only
/// argument of `format`. The text is not made when the level is off.
#define APP_LOG_VALUE_FROM(function, category, format, value)                                \
  do {                                                                                       \
    if (zlog_level_enabled(category, app::kDetail) != 0) {                                   \
      APP_LOG_FROM(function, category, app::kDetail, format, app::ValueText(value).c_str()); \
    }                                                                                        \
  } while (false)
#define APP_LOG_VALUE(category, format, value) APP_LOG_VALUE_FROM(__func__, category, format, value)

/// The text of the C_BUF that `value` points to; any other type fails the read's assertion.
#define APP_BUF_TEXT(value) app::BufText(CONFD_GET_BUFPTR(value), CONFD_GET_BUFSIZE(value))
