// System calls of the test's own process that fail.
#pragma once

#include <set>
#include <string>

namespace host::test {

/// While it lives, one of the calls that are named fails: the one behind `number` others of them.
/// They may be open, fstat, lstat, read, write, fsync, rename, unlink, link, linkat.
class FailingCall {
 public:
  static constexpr int kAlways = -1;

  /// `number` may be kAlways, for all of them. With `error` 0 the call returns 0 and does nothing.
  /// `*has_failed` is set when one has, and outlives this.
  FailingCall(std::set<std::string> names, int number, int error, bool* has_failed = nullptr);
  template <size_t count>
  FailingCall(const char* const (&names)[count], int number, int error, bool* has_failed = nullptr)
      : FailingCall(std::set<std::string>(names, names + count), number, error, has_failed) {}
  ~FailingCall();
  FailingCall(const FailingCall&) = delete;
  FailingCall& operator=(const FailingCall&) = delete;

  bool HasFailed() const { return has_failed_; }

  /// Whether this call is to fail, with its error in errno.
  bool Takes(const std::string& name);

 private:
  std::set<std::string> names_;
  int left_;
  int error_;
  bool has_failed_ = false;
  bool* told_;
  FailingCall* outer_;
};

}  // namespace host::test
