// A process killed at any moment of its saves leaves one of the two whole files.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>

#include "config/store.h"
#include "support.h"

namespace host::test {
namespace {

using Clock = std::chrono::steady_clock;

/// A process that saves two texts in turn and writes a byte after each save, until it is killed.
class Writer {
 public:
  Writer(const host::Store& store, const std::string& one, const std::string& two) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    process_ = fork();
    if (process_ == 0) {
      close(ends[0]);
      SaveForever(store, one, two, ends[1]);
    }
    close(ends[1]);
    saves_ = ends[0];
  }
  ~Writer() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    close(saves_);
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  /// False when the process ended before so many saves.
  bool AwaitSaves(int count) const {
    for (char byte = 0; count > 0; --count) {
      if (read(saves_, &byte, 1) != 1) return false;
    }
    return true;
  }

 private:
  [[noreturn]] static void SaveForever(const host::Store& store, const std::string& one,
                                       const std::string& two, int saves) {
    try {
      while (true) {
        store.Save(one);
        if (write(saves, "1", 1) != 1) _exit(1);
        store.Save(two);
        if (write(saves, "2", 1) != 1) _exit(1);
      }
    } catch (const std::exception&) {
      _exit(1);
    }
  }

  pid_t process_ = -1;
  int saves_ = -1;
};

TEST(KilledWriter, LeavesAWholeFile) {
  const TestFolder folder;
  const host::Store store(folder.Path("running.json"));
  const std::string one(300000, '1');
  const std::string two(200000, '2');
  const auto start = Clock::now();
  store.Save(one);
  store.Save(two);
  const auto two_saves = Clock::now() - start;

  std::mt19937 random(20261121);
  const auto deadline = start + std::chrono::seconds(20);
  int rounds = 0;
  for (; rounds < 100 && Clock::now() < deadline; ++rounds) {
    {
      const Writer writer(store, one, two);
      ASSERT_TRUE(writer.AwaitSaves(1 + static_cast<int>(random() % 3)));
      // The pipe tells the end of a save; the kill is to come anywhere in the next two.
      const auto moment = Clock::now() + two_saves * (random() % 1000) / 1000;
      while (Clock::now() < moment) {
      }
    }
    const std::optional<std::string> text = store.Load();
    ASSERT_TRUE(text == one || text == two) << "round " << rounds;
  }
  EXPECT_GE(rounds, 10);
  store.Save(one);
  EXPECT_EQ(folder.Names(), std::vector<std::string>{"running.json"});
}

}  // namespace
}  // namespace host::test
