// Searches in processes of their own: their limits, their end, and what they keep.
#include "netconf/search_process.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "netconf/filter.h"
#include "netconf/rpc_error.h"
#include "netconf_support.h"
#include "support.h"

namespace host::test {
namespace {

using host::SearchInCopy;
using host::SearchLimits;
using std::chrono::milliseconds;

[[noreturn]] std::string ComputeForEver() {
  for (volatile unsigned int i = 0;; i = i + 1) {
  }
}

[[noreturn]] std::string WaitForEver() {
  while (true) pause();
}

/// The error-tag that a search ends with, empty when it is answered.
template <typename Search>
std::string TagOf(Search search, const SearchLimits& limits) {
  try {
    SearchInCopy(search, limits);
  } catch (const host::RpcError& error) {
    return error.Tag();
  }
  return "";
}

bool HasChildren() { return waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD; }

TEST(SearchProcess, AnswersWhatTheSearchReturns) {
  const std::string long_one(300000, 'x');
  EXPECT_EQ(SearchInCopy([&] { return long_one; }, {}), long_one);
  EXPECT_EQ(SearchInCopy([] { return std::string(); }, {}), "");
  EXPECT_FALSE(HasChildren());
}

TEST(SearchProcess, ItsLimitIsProcessorTime) {
  EXPECT_EQ(TagOf(ComputeForEver, {milliseconds(100), std::chrono::minutes(1)}), "resource-denied");
  EXPECT_FALSE(HasChildren());
  // One that does not get the processor is not at its limit.
  const auto wait = [] {
    poll(nullptr, 0, 150);
    return std::string("found");
  };
  EXPECT_EQ(SearchInCopy(wait, {milliseconds(100), std::chrono::minutes(1)}), "found");
}

TEST(SearchProcess, AnAnswerIsNotWaitedForForEver) {
  EXPECT_EQ(TagOf(WaitForEver, {milliseconds(1000), milliseconds(50)}), "resource-denied");
  EXPECT_FALSE(HasChildren());
}

TEST(SearchProcess, AnEndWithoutAWholeAnswerIsTold) {
  EXPECT_EQ(TagOf([]() -> std::string { _exit(0); }, {}), "operation-failed");
  EXPECT_EQ(TagOf([]() -> std::string { throw 5; }, {}), "operation-failed");
  EXPECT_EQ(TagOf(
                []() -> std::string {
                  kill(getpid(), SIGKILL);
                  return "part";
                },
                {}),
            "operation-failed");
  EXPECT_FALSE(HasChildren());
}

TEST(SearchProcess, ItLimitsItselfToo) {
  const auto limits = [] {
    rlimit processor = {};
    rlimit memory = {};
    getrlimit(RLIMIT_CPU, &processor);
    getrlimit(RLIMIT_AS, &memory);
    return std::to_string(processor.rlim_max) + " " +
           (memory.rlim_max == RLIM_INFINITY ? "any" : "some");
  };
  EXPECT_EQ(SearchInCopy(limits, {milliseconds(1000)}), "3 some");
}

TEST(SearchProcess, MemoryBeyondTheLimitEndsIt) {
  const auto take = [](size_t size) {
    return [size] {
      const std::vector<char> taken(size, 'x');
      return std::string(1, taken.back());
    };
  };
  const SearchLimits limits = {milliseconds(5000), milliseconds(8000), size_t{64} << 20U};
  EXPECT_EQ(TagOf(take(size_t{512} << 20U), limits), "operation-failed");
  EXPECT_EQ(SearchInCopy(take(size_t{16} << 20U), limits), "x");
}

/// 2,000 signals a second, none of which restarts what it interrupts.
class SignalStorm {
 public:
  SignalStorm() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, &before_);
    Set(500);
  }
  ~SignalStorm() {
    Set(0);
    sigaction(SIGALRM, &before_, nullptr);
  }
  SignalStorm(const SignalStorm&) = delete;
  SignalStorm& operator=(const SignalStorm&) = delete;

 private:
  static void Set(suseconds_t period) {
    const itimerval timer = {{0, period}, {0, period}};
    setitimer(ITIMER_REAL, &timer, nullptr);
  }

  struct sigaction before_ = {};
};

TEST(SearchProcess, SignalsRefuseNoSearchAndLeaveNoProcess) {
  {
    const SignalStorm storm;
    for (int i = 0; i < 300; ++i) {
      // The end of the process takes its time, too.
      const auto search = [] {
        const std::vector<char> much(4000000, 'x');
        return std::string(much.data(), 1);
      };
      ASSERT_EQ(TagOf(search, {milliseconds(10000), milliseconds(60000)}), "") << i;
    }
  }
  EXPECT_FALSE(HasChildren());
}

std::string Descriptors() {
  std::string names;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const auto target = std::filesystem::read_symlink(entry.path()).string();
    if (target.find("/fd") == std::string::npos) names += target.substr(0, 5) + " ";
  }
  return names;
}

TEST(SearchProcess, KeepsNoDescriptors) {
  const int high = fcntl(open("/dev/null", O_RDONLY | O_CLOEXEC), F_DUPFD_CLOEXEC, 500);
  ASSERT_GE(high, 500);
  const std::string error = std::filesystem::read_symlink("/proc/self/fd/2").string().substr(0, 5);
  const std::string kept = SearchInCopy(Descriptors, {});
  EXPECT_EQ(kept, error + " pipe: ");
  close(high);
}

/// The answer's pipe may have any number.
TEST(SearchProcess, KeepsItsPipeWhereStandardErrorIsClosed) {
  const auto search = [] {
    for (const int standard : {0, 1, 2}) close(standard);
    try {
      _exit(SearchInCopy([] { return std::string("x"); }, {}) == "x" ? 0 : 1);
    } catch (...) {
      _exit(2);
    }
  };
  EXPECT_EXIT(search(), ::testing::ExitedWithCode(0), "");
}

/// A daemon that is killed while its copy searches; the copy writes its number to `report`.
TEST(SearchProcess, EndsWithItsDaemon) {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  std::array<int, 2> report = {};
  ASSERT_EQ(pipe(report.data()), 0);
  const pid_t daemon = fork();
  if (daemon == 0) {
    const auto search = [parent = getpid(), number = report[1]]() -> std::string {
      // Its own descriptor is closed; the one of its parent is still there.
      const std::string place = "/proc/" + std::to_string(parent) + "/fd/" + std::to_string(number);
      std::ofstream(place) << getpid() << std::endl;
      WaitForEver();
    };
    TagOf(search, {std::chrono::minutes(1), std::chrono::minutes(1)});
    _exit(0);
  }
  pid_t copy = 0;
  FILE* const read = fdopen(report[0], "r");
  ASSERT_EQ(fscanf(read, "%d", &copy), 1);
  kill(copy, SIGSTOP);
  kill(daemon, SIGKILL);
  ASSERT_EQ(waitpid(daemon, nullptr, 0), daemon);
  int status = 0;
  ASSERT_EQ(waitpid(copy, &status, 0), copy) << "the copy is this process's now";
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  fclose(read);
  close(report[1]);
  prctl(PR_SET_CHILD_SUBREAPER, 0);
}

class XPathSearch : public NetconfTest {
 protected:
  /// The error-tag that a search which never ends is refused with; each level looks at all nodes
  /// for each of all nodes.
  static std::string TagOfEndless(const SearchLimits& limits) {
    const host::Tree data =
        host::ParseTree(NetconfDeviceModels().Context(),
                        R"({"snmp:snmp": {"target": [{"name": "a"}, {"name": "b"}]}})");
    std::string expression = "//*";
    for (int i = 0; i < 14; ++i) expression = "//*[" + expression + "]";
    try {
      host::SelectXPath(expression.c_str(), data.get(), limits);
    } catch (const host::RpcError& error) {
      return error.Tag();
    }
    return "";
  }
};

TEST_F(XPathSearch, ThatTakesTooLongIsEnded) {
  EXPECT_EQ(TagOfEndless({milliseconds(100)}), "resource-denied");
  EXPECT_FALSE(HasChildren());
}

TEST_F(XPathSearch, ThatTheKernelEndsIsTold) {
  const auto search = [] {
    const rlimit second = {1, 1};
    setrlimit(RLIMIT_CPU, &second);
    return TagOfEndless({std::chrono::minutes(1), std::chrono::minutes(1)});
  };
  EXPECT_EXIT(_exit(search() == "operation-failed" ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

/// Sanitizers need descriptors, too, as soon as an error is looked at.
class NoDescriptors {
 public:
  NoDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit none = {0, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  rlimit before_ = {};
};

TEST(SearchProcess, ThatCannotBeginIsTold) {
  std::string tag;
  try {
    const NoDescriptors none;
    SearchInCopy(WaitForEver, {});
  } catch (const host::RpcError& error) {
    tag = error.Tag();
  }
  EXPECT_EQ(tag, "operation-failed");
}

}  // namespace
}  // namespace host::test
