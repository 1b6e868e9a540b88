#include "netconf/search_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <ctime>
#include <fstream>
#include <system_error>

#include "netconf/rpc_error.h"

namespace host {

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// Ends an answer: without it, there is only a part of one.
constexpr char kEnd = '.';

[[noreturn]] void Fail(const std::string& operation, int error) {
  throw RpcError("application", "operation-failed",
                 "cannot " + operation + ": " + std::generic_category().message(error));
}

void CloseRange(unsigned int first, unsigned int last) {
  if (first > last || close_range(first, last, 0) == 0) return;
  // A kernel before 5.9.
  rlimit descriptors = {};
  getrlimit(RLIMIT_NOFILE, &descriptors);
  const auto end = static_cast<unsigned int>(std::min<rlim_t>(descriptors.rlim_cur, INT_MAX));
  for (unsigned int i = first; i <= last && i < end; ++i) close(static_cast<int>(i));
}

/// What the process owns in the kernel ends with its descriptors, so nobody else may keep one.
void CloseAllButErrorsAnd(int descriptor) {
  const auto kept = static_cast<unsigned int>(std::max(descriptor, STDERR_FILENO));
  const auto other = static_cast<unsigned int>(std::min(descriptor, STDERR_FILENO));
  if (other > 0) CloseRange(0, other - 1);
  if (kept > other) CloseRange(other + 1, kept - 1);
  CloseRange(kept + 1, UINT_MAX);
}

/// Sets both limits, as a soft one alone sends a signal that may be blocked.
void Lower(__rlimit_resource resource, rlim_t value) {
  rlimit limit = {};
  getrlimit(resource, &limit);
  limit.rlim_cur = limit.rlim_max = std::min(limit.rlim_max, value);
  setrlimit(resource, &limit);
}

/// The process's address space in bytes (proc_pid_statm(5)).
rlim_t AddressSpace() {
  rlim_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

/// The copy is watched from outside, but not when that process is stopped. Processor time is
/// limited in seconds.
void LimitItself(const SearchLimits& limits) {
  const auto seconds = duration_cast<std::chrono::seconds>(limits.processor).count();
  Lower(RLIMIT_CPU, static_cast<rlim_t>(seconds) + 2);
  if (const rlim_t now = AddressSpace(); now > 0) Lower(RLIMIT_AS, now + limits.memory);
}

void Write(int descriptor, const std::string& text) {
  for (size_t written = 0; written < text.size();) {
    const ssize_t count = write(descriptor, text.data() + written, text.size() - written);
    if (count < 0) _exit(EXIT_FAILURE);
    written += static_cast<size_t>(count);
  }
}

/// The life of the copy, which does nothing else.
[[noreturn]] void Search(pid_t parent, const std::function<std::string()>& search,
                         const SearchLimits& limits, int answer) {
  CloseAllButErrorsAnd(answer);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  // It may have ended before.
  if (getppid() != parent) _exit(EXIT_FAILURE);
  try {
    LimitItself(limits);
    Write(answer, search() + kEnd);
  } catch (...) {
    _exit(EXIT_FAILURE);
  }
  _exit(EXIT_SUCCESS);
}

class SearchProcess {
 public:
  SearchProcess(const std::function<std::string()>& search, const SearchLimits& limits);

  /// Ends it, when it has not come to its own end.
  ~SearchProcess() {
    kill(id_, SIGKILL);
    while (waitpid(id_, nullptr, 0) < 0 && errno == EINTR) {
    }
    close(answer_);
  }

  SearchProcess(const SearchProcess&) = delete;
  SearchProcess& operator=(const SearchProcess&) = delete;

  /// All that it answers.
  std::string Read() const;

 private:
  bool IsReadable() const;
  milliseconds TimeLeft() const;
  milliseconds ProcessorTime() const;

  const SearchLimits limits_;
  const Clock::time_point deadline_ = Clock::now() + limits_.wait;
  pid_t id_ = -1;
  int answer_ = -1;
};

SearchProcess::SearchProcess(const std::function<std::string()>& search, const SearchLimits& limits)
    : limits_(limits) {
  std::array<int, 2> ends = {};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) Fail("make a pipe", errno);
  // What signals mean is for the event loop to say.
  sigset_t all = {};
  sigset_t before = {};
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const pid_t parent = getpid();
  id_ = fork();
  if (id_ == 0) Search(parent, search, limits, ends[1]);
  const int error = errno;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  close(ends[1]);
  answer_ = ends[0];
  if (id_ > 0) return;
  close(answer_);
  Fail("make a process that searches", error);
}

std::string SearchProcess::Read() const {
  std::string text;
  std::array<char, 4096> part = {};
  while (true) {
    if (!IsReadable()) continue;
    const ssize_t count = read(answer_, part.data(), part.size());
    if (count == 0) return text;
    if (count > 0) {
      text.append(part.data(), static_cast<size_t>(count));
    } else if (errno != EINTR) {
      Fail("read what a search found", errno);
    }
  }
}

/// False when a signal came first, or it is time to look again.
bool SearchProcess::IsReadable() const {
  pollfd waited = {answer_, POLLIN, 0};
  const int ready = poll(&waited, 1, static_cast<int>(TimeLeft().count()));
  if (ready < 0 && errno != EINTR) Fail("wait for a search", errno);
  return ready > 0;
}

/// How long nothing has to be looked at. Throws when there is no time left.
milliseconds SearchProcess::TimeLeft() const {
  const milliseconds processor = limits_.processor - ProcessorTime();
  const auto wait = duration_cast<milliseconds>(deadline_ - Clock::now());
  const milliseconds left = std::min(processor, wait);
  if (left.count() > 0) return left;
  throw RpcError("application", "resource-denied", "the search by XPath takes too long");
}

/// What the copy has used (clock_getcpuclockid(3)); 0 when it has ended.
milliseconds SearchProcess::ProcessorTime() const {
  clockid_t clock = 0;
  timespec used = {};
  if (clock_getcpuclockid(id_, &clock) != 0 || clock_gettime(clock, &used) != 0) {
    return milliseconds(0);
  }
  return milliseconds(used.tv_sec * 1000LL + used.tv_nsec / 1000000);
}

}  // namespace

std::string SearchInCopy(const std::function<std::string()>& search, const SearchLimits& limits) {
  const SearchProcess process(search, limits);
  std::string answer = process.Read();
  if (answer.empty() || answer.back() != kEnd) {
    throw RpcError("application", "operation-failed", "the search by XPath ended too soon");
  }
  answer.pop_back();
  return answer;
}

}  // namespace host
