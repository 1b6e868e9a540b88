#include "failing_calls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace host::test {

namespace {

FailingCall* innermost = nullptr;

constexpr int kDone = 1;

/// -1 or 0 as what the call is to return at once, kDone when it is to be made.
int Result(const char* name) {
  if (innermost == nullptr || !innermost->Takes(name)) return kDone;
  return errno == 0 ? 0 : -1;
}

}  // namespace

FailingCall::FailingCall(std::set<std::string> names, int number, int error, bool* has_failed)
    : names_(std::move(names)), left_(number), error_(error), told_(has_failed), outer_(innermost) {
  innermost = this;
}

FailingCall::~FailingCall() { innermost = outer_; }

bool FailingCall::Takes(const std::string& name) {
  if (names_.count(name) == 0) return outer_ != nullptr && outer_->Takes(name);
  if (left_ > 0) {
    --left_;
    return false;
  }
  if (left_ == 0 && has_failed_) return false;
  has_failed_ = true;
  if (told_ != nullptr) *told_ = true;
  errno = error_;
  return true;
}

}  // namespace host::test

extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) == 0 ? 0 : va_arg(arguments, mode_t);
  va_end(arguments);
  if (host::test::Result("open") != host::test::kDone) return -1;
  return openat(AT_FDCWD, path, flags, mode);
}

int fstat(int file, struct stat* status) noexcept {
  const int result = host::test::Result("fstat");
  return result == host::test::kDone ? fstatat(file, "", status, AT_EMPTY_PATH) : result;
}

int lstat(const char* path, struct stat* status) noexcept {
  const int result = host::test::Result("lstat");
  return result == host::test::kDone ? fstatat(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW)
                                     : result;
}

ssize_t read(int file, void* buffer, size_t size) {
  const int result = host::test::Result("read");
  return result == host::test::kDone ? syscall(SYS_read, file, buffer, size) : result;
}

ssize_t write(int file, const void* buffer, size_t size) {
  const int result = host::test::Result("write");
  return result == host::test::kDone ? syscall(SYS_write, file, buffer, size) : result;
}

int fsync(int file) {
  const int result = host::test::Result("fsync");
  return result == host::test::kDone ? static_cast<int>(syscall(SYS_fsync, file)) : result;
}

int rename(const char* from, const char* to) noexcept {
  const int result = host::test::Result("rename");
  return result == host::test::kDone ? renameat(AT_FDCWD, from, AT_FDCWD, to) : result;
}

int unlink(const char* path) noexcept {
  const int result = host::test::Result("unlink");
  return result == host::test::kDone ? unlinkat(AT_FDCWD, path, 0) : result;
}

int link(const char* from, const char* to) noexcept {
  const int result = host::test::Result("link");
  return result == host::test::kDone
             ? static_cast<int>(syscall(SYS_linkat, AT_FDCWD, from, AT_FDCWD, to, 0))
             : result;
}

int linkat(int from_folder, const char* from, int to_folder, const char* to, int flags) noexcept {
  const int result = host::test::Result("linkat");
  return result == host::test::kDone
             ? static_cast<int>(syscall(SYS_linkat, from_folder, from, to_folder, to, flags))
             : result;
}

}  // extern "C"
