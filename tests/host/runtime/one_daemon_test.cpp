// Claims of a network namespace and a state folder, by processes of their own.

#include "runtime/one_daemon.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace host {
namespace {

/// What ClaimAlone throws, empty when it claims.
std::string Claim(const std::string& state) {
  try {
    boost::asio::io_context loop;
    const std::shared_ptr<void> turns_away = ClaimAlone(state, loop);
    return "";
  } catch (const std::exception& exception) {
    return exception.what();
  }
}

/// A process that runs `life`, which returns its first word, and then waits for its end.
class Process {
 public:
  explicit Process(const std::function<std::string()>& life) {
    std::array<int, 2> ends = {};
    if (pipe(ends.data()) != 0) abort();
    id = fork();
    if (id == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      const std::string text = life() + "\n";
      if (write(ends[1], text.data(), text.size()) < 0) _exit(EXIT_FAILURE);
      while (true) pause();
    }
    close(ends[1]);
    for (char letter = 0; read(ends[0], &letter, 1) == 1 && letter != '\n';) word += letter;
    close(ends[0]);
  }
  ~Process() { Kill(); }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  void Kill() {
    if (id > 0) kill(id, SIGKILL);
    if (id > 0) waitpid(id, nullptr, 0);
    id = -1;
  }

  pid_t id;
  std::string word;
};

/// Each test is in a network namespace of its own, so that none finds another one's claims.
class OneDaemonTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!EnterNamespace()) GTEST_SKIP() << "no network namespace of its own can be made here";
    char folder[] = "/tmp/one-daemon-XXXXXX";
    folder_ = mkdtemp(folder);
  }
  void TearDown() override {
    if (!folder_.empty()) std::filesystem::remove_all(folder_);
  }

  static bool EnterNamespace() {
    return unshare(CLONE_NEWNET) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0;
  }

  std::string Folder(const std::string& name) const { return folder_ + "/" + name; }

  std::string folder_;
};

TEST_F(OneDaemonTest, SecondInTheNamespaceHearsWhoIsFirstAndMakesNoFolder) {
  const Process first([&] { return Claim(Folder("a")); });
  EXPECT_EQ("", first.word);
  for (int time = 0; time < 3; ++time) {
    const Process second([&] { return Claim(Folder("b")); });
    EXPECT_EQ(
        "another snmp-app, process " + std::to_string(first.id) + ", serves this network namespace",
        second.word);
  }
  EXPECT_FALSE(std::filesystem::exists(Folder("b")));
}

TEST_F(OneDaemonTest, SecondWithTheFolderHearsWhoIsFirst) {
  const Process first([&] { return Claim(Folder("a")); });
  const Process second([&] { return EnterNamespace() ? Claim(Folder("a")) : "no namespace"; });
  EXPECT_EQ("another snmp-app, process " + std::to_string(first.id) +
                ", works with the state folder " + Folder("a"),
            second.word);
}

TEST_F(OneDaemonTest, OtherFolderInAnotherNamespaceIsFree) {
  const Process first([&] { return Claim(Folder("a")); });
  const Process second([&] { return EnterNamespace() ? Claim(Folder("b")) : "no namespace"; });
  EXPECT_EQ("", second.word);
}

TEST_F(OneDaemonTest, ClaimingAgainChangesNothing) {
  const Process process([&] { return Claim(Folder("a")) + Claim(Folder("a")); });
  EXPECT_EQ("", process.word);
}

/// What somebody finds who connects to the daemon's name while `loop` runs.
std::string Ask(boost::asio::io_context& loop) {
  using Stream = boost::asio::local::stream_protocol;
  Stream::socket socket(loop);
  socket.connect(Stream::endpoint(std::string("\0snmp-app", 9)));
  std::string answer = "waits";
  std::array<char, 1> letter = {};
  socket.async_receive(boost::asio::buffer(letter), [&](const auto& error, size_t) {
    answer = error.message();
    loop.stop();
  });
  loop.run_for(std::chrono::seconds(20));
  return answer;
}

TEST_F(OneDaemonTest, EachLoopTurnsAwayWhoAsksAndTheClaimStays) {
  const Process first([&] {
    std::string answers;
    for (int time = 0; time < 2; ++time) {
      boost::asio::io_context loop;
      const std::shared_ptr<void> turns_away = ClaimAlone(Folder("a"), loop);
      answers += Ask(loop) + ", ";
    }
    return answers;
  });
  EXPECT_EQ("End of file, End of file, ", first.word);
  const Process second([&] { return Claim(Folder("b")); });
  EXPECT_NE("", second.word);
}

TEST_F(OneDaemonTest, FolderThatCannotBeOpenedIsNotClaimed) {
  const Process process([&] { return Claim("/proc/nowhere/lib"); });
  EXPECT_EQ("", process.word);
}

}  // namespace
}  // namespace host
