#include "runtime/door.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include "runtime/process.h"

namespace host {
namespace {

using Protocol = Door::Protocol;

/// No descriptor is to be had in this process as long as it lives.
class NoDescriptors {
 public:
  NoDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const int next = fcntl(0, F_DUPFD_CLOEXEC, 0);
    close(next);
    rlimit limit = before_;
    limit.rlim_cur = static_cast<rlim_t>(next);
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  rlimit before_ = {};
};

/// At an abstract name, so no file is made.
class DoorTest : public ::testing::Test {
 protected:
  DoorTest() {
    acceptor_.bind(address_);
    acceptor_.listen();
    door_.emplace(&acceptor_, "visitor", [this](const Protocol::socket&) {
      ++taken_;
      if (throws_) throw std::runtime_error("not this one");
    });
  }

  void Connect() { visitor_ = Protocol::socket(loop_), visitor_.connect(address_); }

  /// False when the condition does not come within 20 s.
  bool RunUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
      loop_.restart();
      loop_.run_one_until(deadline);
    }
    return condition();
  }

  const Protocol::endpoint address_{std::string("\0door-test-", 11) + std::to_string(getpid())};
  Process process_;
  boost::asio::io_context loop_;
  Protocol::acceptor acceptor_{loop_, Protocol()};
  Protocol::socket visitor_{loop_};
  int taken_ = 0;
  bool throws_ = false;
  std::optional<Door> door_;
};

TEST_F(DoorTest, ExceptionIsAFaultAndTheNextOneIsTaken) {
  throws_ = true;
  Connect();
  EXPECT_TRUE(RunUntil([this] { return taken_ == 1; }));
  EXPECT_EQ(process_.faults.back().text, "visitor: not this one");
  Connect();
  EXPECT_TRUE(RunUntil([this] { return taken_ == 2; }));
}

TEST_F(DoorTest, WhoCannotBeTakenForWantOfDescriptorsIsTakenLater) {
  loop_.poll();
  Connect();
  testing::internal::CaptureStderr();
  {
    const NoDescriptors none;
    loop_.restart();
    EXPECT_EQ(loop_.run_one(), 1U);
  }
  EXPECT_NE(testing::internal::GetCapturedStderr().find("visitor not taken: Too many open files"),
            std::string::npos);
  EXPECT_EQ(taken_, 0);
  EXPECT_TRUE(RunUntil([this] { return taken_ == 1; }));
}

TEST_F(DoorTest, NobodyIsTakenBehindItsEnd) {
  Connect();
  door_.reset();
  loop_.run_for(std::chrono::milliseconds(5));
  EXPECT_EQ(taken_, 0);
}

}  // namespace
}  // namespace host
