#include "runtime/service_manager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <string>
#include <system_error>

#include "runtime/log.h"
#include "runtime/process.h"

namespace host {

namespace {

constexpr std::chrono::milliseconds kPause(100);

/// How often a text is sent that the system refuses.
constexpr int kTries = 20;

/// 0 when the manager is told, or there is none; else the system's error.
int Send(const std::string& text) {
  const char* const name = getenv("NOTIFY_SOCKET");
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (name == nullptr || *name == '\0') return 0;
  const std::string path = name;
  if (path.size() > sizeof address.sun_path) return 0;
  path.copy(address.sun_path, path.size());
  if (path[0] == '@') address.sun_path[0] = '\0';
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (descriptor < 0) return errno;
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  const ssize_t sent = sendto(descriptor, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                              reinterpret_cast<const sockaddr*>(&address), size);
  const int error = sent < 0 ? errno : 0;
  close(descriptor);
  return error == ENOENT || error == ECONNREFUSED ? 0 : error;
}

/// The manager does not read at the moment.
bool IsFull(int error) { return error == EAGAIN || error == ENOBUFS; }

/// A variable's value is one line.
std::string Status(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  return "STATUS=" + text;
}

}  // namespace

/// False when the first text has to be sent again.
bool ServiceManager::SendFirst() {
  const int error = Send(waiting_.front());
  if (IsFull(error)) return false;
  if (error != 0 && ++tries_ < kTries) return false;
  if (error != 0) {
    HOST_LOG(kNotice, "The service manager is not told %s: %s", waiting_.front().c_str(),
             std::generic_category().message(error).c_str());
  }
  waiting_.pop_front();
  tries_ = 0;
  return true;
}

void ServiceManager::SendWaiting() {
  while (!waiting_.empty() && SendFirst()) {
  }
  if (waiting_.empty()) return;
  alarm_.After(kPause, [this] { SendWaiting(); });
}

void ServiceManager::Notify(const std::string& text) {
  waiting_.erase(std::remove(waiting_.begin(), waiting_.end(), text), waiting_.end());
  waiting_.push_back(text);
  SendWaiting();
}

void Notify(const std::string& text) { ThisProcess().service_manager.Notify(text); }

void NotifyReady(const std::string& how) { Notify("READY=1\n" + Status("Ready; " + how)); }

void NotifyReloading() { Notify("RELOADING=1\n" + Status("Reading the start-up configuration")); }

void NotifyStopping() { Notify("STOPPING=1\n" + Status("Ending")); }

void NotifyEnd(const std::string& reason) {
  try {
    Send(Status(reason));
  } catch (const std::exception&) {
    // Without memory there are no words. The manager sees the end.
  }
}

}  // namespace host
