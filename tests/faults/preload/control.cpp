#include "control.h"

#include <dlfcn.h>
#include <errno.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace faults {

namespace {

char* control = nullptr;

/// Before the other constructors here. Programs that start the daemon are not the one that is
/// meant.
__attribute__((constructor(101))) void Open() {
  const char* const path = getenv("FAULTS_CONTROL");
  if (path == nullptr || strcmp(program_invocation_short_name, "snmp-app") != 0) return;
  const int descriptor = open(path, O_RDWR | O_CLOEXEC);
  void* const mapped =
      mmap(nullptr, kControlSize, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  if (descriptor < 0 || mapped == MAP_FAILED) abort();
  close(descriptor);
  // The first one allocates.
  std::array<void*, 1> frames = {};
  backtrace(frames.data(), static_cast<int>(frames.size()));
  control = static_cast<char*>(mapped);
}

const char* FileName(const char* path) {
  const char* const slash = strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}

/// Text of a fixed size; what is too much for it is left out.
class Line {
 public:
  explicit Line(char* text) : text_(text) { memset(text, 0, kTextSize); }

  void Add(const char* word) {
    for (; *word != '\0' && size_ + 1 < kTextSize; ++word) text_[size_++] = *word;
  }

 private:
  char* text_;
  size_t size_ = 0;
};

}  // namespace

std::atomic<int64_t>* Find(Word word) {
  static_assert(sizeof(std::atomic<int64_t>) == sizeof(int64_t));
  if (control == nullptr) return nullptr;
  return reinterpret_cast<std::atomic<int64_t>*>(control + sizeof(int64_t) * word);
}

int64_t Get(Word word) {
  const std::atomic<int64_t>* const found = Find(word);
  return found == nullptr ? 0 : found->load();
}

void WriteCallers(size_t place) {
  if (control == nullptr) return;
  std::array<void*, 64> frames = {};
  const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
  Dl_info own = {};
  dladdr(reinterpret_cast<void*>(&WriteCallers), &own);
  Line line(control + place);
  for (int i = 0; i < count; ++i) {
    Dl_info info = {};
    if (dladdr(frames[static_cast<size_t>(i)], &info) == 0 || info.dli_fbase == own.dli_fbase) {
      continue;
    }
    line.Add(FileName(info.dli_fname));
    line.Add("(");
    line.Add(info.dli_sname == nullptr ? "?" : info.dli_sname);
    line.Add(") ");
  }
}

}  // namespace faults
