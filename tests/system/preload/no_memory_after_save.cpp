// An allocation of the delivery fails: the next one of the loop's thread once the program tries an
// address, behind the daemon's save.

#include <fcntl.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>

extern "C" void* __libc_malloc(size_t size);

namespace {

std::atomic<bool> has_saved = false;
std::atomic<bool> fails_next = false;

bool IsStoredConfiguration(const char* path) {
  constexpr char kName[] = "/running.json";
  const size_t size = strlen(path);
  return size >= sizeof kName && strcmp(path + size + 1 - sizeof kName, kName) == 0;
}

/// The agent's thread has memory.
bool IsLoop() { return gettid() == getpid(); }

}  // namespace

extern "C" {

int rename(const char* from, const char* to) noexcept {
  const int result = renameat(AT_FDCWD, from, AT_FDCWD, to);
  if (result == 0 && IsStoredConfiguration(to)) has_saved = true;
  return result;
}

int socket(int domain, int type, int protocol) noexcept {
  if (IsLoop() && has_saved.exchange(false)) fails_next = true;
  return static_cast<int>(syscall(SYS_socket, domain, type, protocol));
}

void* malloc(size_t size) noexcept {
  if (fails_next && IsLoop() && fails_next.exchange(false)) {
    errno = ENOMEM;
    return nullptr;
  }
  return __libc_malloc(size);
}

}  // extern "C"
