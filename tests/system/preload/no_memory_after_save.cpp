// The daemon's next allocation fails once it has replaced its stored configuration.

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>

extern "C" void* __libc_malloc(size_t size);

namespace {

std::atomic<bool> fails_next = false;

bool IsStoredConfiguration(const char* path) {
  constexpr char kName[] = "/running.json";
  const size_t size = strlen(path);
  return size >= sizeof kName && strcmp(path + size + 1 - sizeof kName, kName) == 0;
}

}  // namespace

extern "C" {

int rename(const char* from, const char* to) noexcept {
  const int result = renameat(AT_FDCWD, from, AT_FDCWD, to);
  if (result == 0 && IsStoredConfiguration(to)) fails_next = true;
  return result;
}

/// The agent's thread has memory.
void* malloc(size_t size) noexcept {
  if (fails_next && gettid() == getpid() && fails_next.exchange(false)) {
    errno = ENOMEM;
    return nullptr;
  }
  return __libc_malloc(size);
}

}  // extern "C"
