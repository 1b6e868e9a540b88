#include "runtime/watchdog.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "runtime/process.h"

namespace host {
namespace {

using std::chrono::milliseconds;

constexpr char kPeriodUs[] = "40000";
constexpr milliseconds kHalfPeriod(20);
/// A machine that is busy with something else may take its time.
constexpr std::chrono::seconds kDeadline(20);

/// Stands for the service manager: a socket of the kernel's abstract names, so no file is made.
class WatchdogTest : public testing::Test {
 protected:
  WatchdogTest() {
    const std::string name = "@snmp-app-watchdog-test-" + std::to_string(getpid());
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, name.data() + 1, name.size() - 1);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), size), 0);
    setenv("NOTIFY_SOCKET", name.c_str(), 1);
    setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
    setenv("WATCHDOG_USEC", kPeriodUs, 1);
  }

  ~WatchdogTest() override { close(socket_); }

  /// What was sent first and not read yet; empty when there is nothing.
  std::string Received() const {
    char text[64];
    const ssize_t size = recv(socket_, text, sizeof text, MSG_DONTWAIT);
    return size > 0 ? std::string(text, static_cast<size_t>(size)) : std::string();
  }

  boost::asio::io_context loop_;
  const int socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

/// Timers of one loop are called in the order that they are due in, however late that is.
TEST_F(WatchdogTest, TellsAtHalfThePeriod) {
  std::optional<std::string> before;
  std::optional<std::string> by_then;
  boost::asio::steady_timer early(loop_, kHalfPeriod - milliseconds(5));
  const Watchdog watchdog(loop_);
  boost::asio::steady_timer late(loop_, kHalfPeriod + milliseconds(5));
  early.async_wait([&](const boost::system::error_code&) { before = Received(); });
  late.async_wait([&](const boost::system::error_code&) {
    by_then = Received();
    loop_.stop();
  });
  loop_.run_for(kDeadline);
  EXPECT_EQ(before, "");
  EXPECT_EQ(by_then, "WATCHDOG=1");
}

TEST_F(WatchdogTest, TellsAgainAndAgain) {
  const Watchdog watchdog(loop_);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Received(), "");
    ASSERT_EQ(loop_.run_one_for(kDeadline), 1U);
    EXPECT_EQ(Received(), "WATCHDOG=1");
  }
}

TEST_F(WatchdogTest, CheckThatThrowsKeepsTheSignBackOnceAndIsAFault) {
  const Process process;
  bool throws = true;
  const Watchdog watchdog(loop_, [&throws] {
    if (std::exchange(throws, false)) throw std::runtime_error("no agent");
  });
  ASSERT_EQ(loop_.run_one_for(kDeadline), 1U);
  EXPECT_EQ(Received(), "");
  ASSERT_EQ(process.faults.size(), 1U);
  EXPECT_EQ(process.faults.back().text, "watchdog: no agent");
  ASSERT_EQ(loop_.run_one_for(kDeadline), 1U);
  EXPECT_EQ(Received(), "WATCHDOG=1");
}

TEST_F(WatchdogTest, NotAskedForIsNoTimer) {
  unsetenv("WATCHDOG_USEC");
  const Watchdog watchdog(loop_);
  EXPECT_EQ(loop_.run_for(kDeadline), 0U);
  EXPECT_EQ(Received(), "");
}

TEST_F(WatchdogTest, AskedOfAnotherProcessIsNoTimer) {
  setenv("WATCHDOG_PID", std::to_string(getppid()).c_str(), 1);
  const Watchdog watchdog(loop_);
  EXPECT_EQ(loop_.run_for(kDeadline), 0U);
  EXPECT_EQ(Received(), "");
}

TEST_F(WatchdogTest, NothingIsToldAfterItsEnd) {
  std::optional<Watchdog> watchdog(std::in_place, loop_);
  watchdog.reset();
  loop_.run_for(kDeadline);
  EXPECT_EQ(Received(), "");
}

}  // namespace
}  // namespace host
