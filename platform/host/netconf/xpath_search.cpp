#include "netconf/xpath_search.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <string>
#include <system_error>

#include "config/tree.h"
#include "netconf/rpc_error.h"
#include "runtime/one_daemon.h"

namespace host {

namespace {

using Clock = std::chrono::steady_clock;
using Nodes = std::vector<const lyd_node*>;

/// How an answer begins: with the numbers of nodes behind it, or with the reason of a refusal.
constexpr char kFound = 'f';
constexpr char kRefused = 'r';

[[noreturn]] void Fail(const std::string& operation, int error) {
  throw RpcError("application", "operation-failed",
                 "cannot " + operation + ": " + std::generic_category().message(error));
}

/// Appends `data`, its siblings and all below them in document order: their places are their
/// numbers.
void AppendAll(const lyd_node* data, Nodes* nodes) {
  for (; data != nullptr; data = data->next) {
    nodes->push_back(data);
    AppendAll(lyd_child(data), nodes);
  }
}

std::string NumbersOf(const ly_set& found, const lyd_node* data) {
  Nodes selected(found.dnodes, found.dnodes + found.count);
  std::sort(selected.begin(), selected.end());
  Nodes all;
  AppendAll(data, &all);
  std::string numbers;
  for (uint32_t number = 0; number < all.size(); ++number) {
    if (!std::binary_search(selected.begin(), selected.end(), all[number])) continue;
    numbers.append(reinterpret_cast<const char*>(&number), sizeof number);
  }
  return numbers;
}

std::string Answer(const char* expression, const lyd_node* data) {
  ly_set* found = nullptr;
  if (lyd_find_xpath(data, expression, &found) != LY_SUCCESS) {
    return kRefused + TakeErrors(data->schema->module->ctx);
  }
  return kFound + NumbersOf(*found, data);
}

void Write(int descriptor, const std::string& text) {
  for (size_t written = 0; written < text.size();) {
    const ssize_t count = write(descriptor, text.data() + written, text.size() - written);
    if (count < 0) _exit(EXIT_FAILURE);
    written += static_cast<size_t>(count);
  }
}

/// The life of the searching process, which does nothing else.
[[noreturn]] void Search(pid_t parent, const char* expression, const lyd_node* data, int answer) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(EXIT_FAILURE);
  LeaveClaims();
  try {
    Write(answer, Answer(expression, data));
  } catch (...) {
    _exit(EXIT_FAILURE);
  }
  _exit(EXIT_SUCCESS);
}

/// A copy of this process that searches, and the pipe by which it answers.
class SearchProcess {
 public:
  SearchProcess(const char* expression, const lyd_node* data) {
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) Fail("make a pipe", errno);
    // What signals mean is for the event loop to say.
    sigset_t all = {};
    sigset_t before = {};
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t parent = getpid();
    id_ = fork();
    if (id_ == 0) Search(parent, expression, data, ends[1]);
    const int error = errno;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    close(ends[1]);
    answer_ = ends[0];
    if (id_ > 0) return;
    close(answer_);
    Fail("make a process that searches", error);
  }

  ~SearchProcess() {
    if (id_ > 0) End();
    close(answer_);
  }

  SearchProcess(const SearchProcess&) = delete;
  SearchProcess& operator=(const SearchProcess&) = delete;

  /// All that it answers; throws when that is not there in time.
  std::string Read(std::chrono::milliseconds limit) const {
    const Clock::time_point deadline = Clock::now() + limit;
    std::string text;
    std::array<char, 4096> part = {};
    while (true) {
      if (!IsReadable(deadline)) continue;
      const ssize_t count = read(answer_, part.data(), part.size());
      if (count < 0) Fail("read what a search found", errno);
      if (count == 0) return text;
      text.append(part.data(), static_cast<size_t>(count));
    }
  }

  /// Whether it came to its own end.
  bool IsComplete() {
    int status = 0;
    const pid_t ended = waitpid(id_, &status, 0);
    id_ = -1;
    return ended > 0 && WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
  }

 private:
  /// False when a signal came first.
  bool IsReadable(Clock::time_point deadline) const {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd waited = {answer_, POLLIN, 0};
    const int ready = left.count() > 0 ? poll(&waited, 1, static_cast<int>(left.count())) : 0;
    if (ready != 0) return ready > 0;
    throw RpcError("application", "resource-denied", "the search by XPath takes too long");
  }

  void End() {
    kill(id_, SIGKILL);
    IsComplete();
  }

  pid_t id_ = -1;
  int answer_ = -1;
};

Nodes NodesOf(const std::string& numbers, const lyd_node* data) {
  Nodes all;
  AppendAll(data, &all);
  Nodes nodes;
  for (size_t at = 0; at + sizeof(uint32_t) <= numbers.size(); at += sizeof(uint32_t)) {
    uint32_t number = 0;
    memcpy(&number, numbers.data() + at, sizeof number);
    nodes.push_back(all.at(number));
  }
  return nodes;
}

}  // namespace

std::vector<const lyd_node*> FindXPath(const char* expression, const lyd_node* data,
                                       std::chrono::milliseconds limit) {
  SearchProcess process(expression, data);
  const std::string answer = process.Read(limit);
  if (!process.IsComplete() || answer.empty()) {
    throw RpcError("application", "operation-failed", "the search by XPath ended too soon");
  }
  if (answer[0] == kFound) return NodesOf(answer.substr(1), data);
  throw RpcError("protocol", "invalid-value", answer.substr(1)).With("bad-attribute", "select");
}

}  // namespace host
