#include "runtime/service_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "runtime/process.h"
#include "runtime/waiting.h"

namespace host {
namespace {

/// Stands for the service manager, at a path or, with @ in front, an abstract name.
class Manager {
 public:
  explicit Manager(const std::string& name) : name_(name) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path, sizeof address.sun_path);
    if (name[0] == '@') address.sun_path[0] = '\0';
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), size), 0);
    setenv("NOTIFY_SOCKET", name.c_str(), 1);
    alarm(60);  // What waits for it is ended.
  }
  ~Manager() {
    alarm(0);
    unsetenv("NOTIFY_SOCKET");
    close(socket_);
    if (name_[0] != '@') unlink(name_.c_str());
  }
  Manager(const Manager&) = delete;
  Manager& operator=(const Manager&) = delete;

  std::string Received() const {
    std::array<char, 64> text = {};
    const ssize_t size = recv(socket_, text.data(), text.size(), MSG_DONTWAIT);
    return size > 0 ? std::string(text.data(), static_cast<size_t>(size)) : std::string();
  }

 private:
  std::string name_;
  int socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

std::string Name(const std::string& prefix) {
  return prefix + "snmp-app-manager-" + std::to_string(getpid());
}

TEST(ServiceManager, IsToldAtAPathAndAtAnAbstractName) {
  for (const std::string& name :
       {Name("@"), Name(std::filesystem::temp_directory_path().string() + "/")}) {
    const Manager manager(name);
    NotifyReady("a\nb");
    EXPECT_EQ(manager.Received(), "READY=1\nSTATUS=Ready; a b");
    NotifyReloading();
    NotifyStopping();
    EXPECT_EQ(manager.Received(), "RELOADING=1\nSTATUS=Reading the start-up configuration");
    EXPECT_EQ(manager.Received(), "STOPPING=1\nSTATUS=Ending");
  }
}

/// No further descriptor as long as this lives.
class NoDescriptors {
 public:
  NoDescriptors() {
    EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before_), 0);
    const rlimit none = {0, before_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  }
  ~NoDescriptors() { EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before_), 0); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  rlimit before_ = {};
};

TEST(ServiceManager, IsToldWhenThereIsADescriptorAgain) {
  const Manager manager(Name("@"));
  Process process;
  // The sanitizer looks at what it has not seen yet through a pipe.
  Alarm(process.loop.get_executor(), "seen").After(std::chrono::hours(1), [] {});
  {
    const NoDescriptors none;
    Notify("READY=1");
  }
  EXPECT_EQ(manager.Received(), "");
  process.loop.run_for(std::chrono::seconds(10));
  EXPECT_EQ(manager.Received(), "READY=1");
}

TEST(ServiceManager, ThatTakesNothingIsGivenUp) {
  const std::string name = Name(std::filesystem::temp_directory_path().string() + "/");
  const int stream = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  name.copy(address.sun_path, sizeof address.sun_path);
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
  ASSERT_EQ(bind(stream, reinterpret_cast<const sockaddr*>(&address), size), 0);
  ASSERT_EQ(listen(stream, 1), 0);
  setenv("NOTIFY_SOCKET", name.c_str(), 1);
  Process process;
  testing::internal::CaptureStderr();
  Notify("READY=1");
  EXPECT_GT(process.loop.run_for(std::chrono::seconds(60)), 0U) << "the loop comes to its end";
  EXPECT_TRUE(process.loop.stopped());
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::HasSubstr("The service manager is not told READY=1: Protocol wrong type"));
  unsetenv("NOTIFY_SOCKET");
  close(stream);
  unlink(name.c_str());
}

TEST(ServiceManager, ThatThereIsNotHarmsNobody) {
  Process process;
  NotifyReady("");
  for (const std::string& name : {std::string(), std::string(200, 'x'), Name("/absent/")}) {
    setenv("NOTIFY_SOCKET", name.c_str(), 1);
    NotifyReady("");
    NotifyEnd("nobody");
  }
  unsetenv("NOTIFY_SOCKET");
  EXPECT_EQ(process.loop.poll(), 0U) << "nothing waits";
}

TEST(ServiceManager, IsToldOfALastFaultBeforeTheEnd) {
  const Manager manager(Name("@"));
  EXPECT_EXIT(HOST_LAST_FAULT(std::string("cannot\ngo on")), ::testing::ExitedWithCode(1), "");
  EXPECT_EQ(manager.Received(), "STATUS=cannot go on");
}

TEST(ServiceManager, ThatDoesNotReadIsToldLaterAndHoldsNobody) {
  Process process;
  const Manager manager(Name("@"));
  for (int i = 0; i < 200; ++i) Notify("FILL=" + std::to_string(i % 100));
  NotifyReady("last");
  std::string last;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (last != "READY=1\nSTATUS=Ready; last" && std::chrono::steady_clock::now() < deadline) {
    for (std::string text = manager.Received(); !text.empty(); text = manager.Received()) {
      last = text;
    }
    process.loop.restart();
    process.loop.run_one_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(last, "READY=1\nSTATUS=Ready; last");
  EXPECT_EQ(manager.Received(), "");
}

}  // namespace
}  // namespace host
