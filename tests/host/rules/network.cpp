#include "network.h"

#include <fcntl.h>
#include <libmnl/libmnl.h>
#include <linux/capability.h>
#include <netlink/netlink.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <deque>
#include <fstream>
#include <memory>
#include <sstream>
#include <system_error>
#include <utility>

namespace {

int kernel_calls = 0;
std::deque<host::test::Failure> failures;

using host::test::Failure;

/// The failure that this call has, taken off the list when it is one of sending (receiving).
Failure TakeFailure(bool sends) {
  if (failures.empty()) return Failure::kNone;
  const Failure next = failures.front();
  const bool is_of_sending = next == Failure::kNoBuffer || next == Failure::kNoRight;
  if (next != Failure::kNone && is_of_sending != sends) return Failure::kNone;
  if (next != Failure::kNone || !sends) failures.pop_front();
  return next;
}

/// What the kernel said, changed as the failure has it.
ssize_t Spoil(Failure failure, char* bytes, ssize_t size) {
  auto* header = static_cast<nlmsghdr*>(static_cast<void*>(bytes));
  switch (failure) {
    case Failure::kTruncated:
      return size / 2;
    case Failure::kEmpty:
      return 0;
    case Failure::kWrongSequence:
      header->nlmsg_seq += 77;
      return size;
    case Failure::kOldSequence:
      header->nlmsg_seq -= 1000;
      return size;
    case Failure::kOtherType:
      header->nlmsg_type = NLMSG_DONE;
      return size;
    default:
      return size;
  }
}

int ErrorOf(Failure failure) {
  switch (failure) {
    case Failure::kNoBuffer:
    case Failure::kOverrun:
      return ENOBUFS;
    case Failure::kNoRight:
      return EPERM;
    case Failure::kNoAnswer:
      return EAGAIN;
    case Failure::kInterrupted:
      return EINTR;
    case Failure::kTooLong:
      return ENOSPC;
    default:
      return 0;
  }
}
bool fail_notifications = false;
host::test::AnswerHook answer_hook;

}  // namespace

extern "C" {

ssize_t __real_mnl_socket_sendto(const mnl_socket* socket, const void* bytes, size_t size);
ssize_t __real_mnl_socket_recvfrom(const mnl_socket* socket, void* bytes, size_t size);
int __real_nl_send_auto(nl_sock* socket, nl_msg* message);

ssize_t __wrap_mnl_socket_sendto(const mnl_socket* socket, const void* bytes, size_t size) {
  ++kernel_calls;
  errno = ErrorOf(TakeFailure(true));
  return errno != 0 ? -1 : __real_mnl_socket_sendto(socket, bytes, size);
}

ssize_t __wrap_mnl_socket_recvfrom(const mnl_socket* socket, void* bytes, size_t size) {
  const ssize_t received = __real_mnl_socket_recvfrom(socket, bytes, size);
  const Failure failure = TakeFailure(false);
  if (received >= 0) errno = ErrorOf(failure);
  return received < 0 || errno != 0 ? -1 : Spoil(failure, static_cast<char*>(bytes), received);
}

ssize_t __real_recvfrom(int socket, void* data, size_t size, int flags, sockaddr* sender,
                        socklen_t* sender_size);

ssize_t __wrap_recvfrom(int socket, void* data, size_t size, int flags, sockaddr* sender,
                        socklen_t* sender_size) {
  if (std::exchange(fail_notifications, false)) {
    errno = EIO;
    return -1;
  }
  const ssize_t received = __real_recvfrom(socket, data, size, flags, sender, sender_size);
  return answer_hook ? answer_hook(static_cast<char*>(data), size, received) : received;
}

int __wrap_nl_send_auto(nl_sock* socket, nl_msg* message) {
  ++kernel_calls;
  return __real_nl_send_auto(socket, message);
}

}  // extern "C"

namespace host::test {

Network Network::Current() { return Network(::open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC)); }

Network::~Network() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

void Network::Enter() const { ASSERT_EQ(::setns(descriptor_, CLONE_NEWNET), 0); }

std::string Network::Path() const {
  return "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(descriptor_);
}

std::string EnterNewNetwork() {
  if (::unshare(CLONE_NEWNET) == 0) return {};
  const std::string user = std::to_string(::getuid());
  if (::unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0) {
    // Commands of this process keep the rights only when its user has a name in there.
    std::ofstream("/proc/self/uid_map") << "0 " + user + " 1";
    return {};
  }
  return std::generic_category().message(errno);
}

void NetworkTest::SetUp() {
  const std::string refused = EnterNewNetwork();
  if (!refused.empty()) GTEST_SKIP() << "no network namespace can be made: " << refused;
  if (Output("ip -V").find("iproute2") == std::string::npos) GTEST_SKIP() << "no ip command";
}

std::string Output(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen((command + " 2>&1").c_str(), "r"),
                                                   ::pclose);
  std::string text;
  std::array<char, 4096> part;
  while (pipe && ::fgets(part.data(), part.size(), pipe.get()) != nullptr) text += part.data();
  return text;
}

std::string Nft(const std::string& commands) {
  std::string quoted;
  for (const char c : commands) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return Output("nft '" + quoted + "'");
}

int KernelCalls() { return kernel_calls; }

void FailNext(std::initializer_list<Failure> next) { failures = next; }

bool AllFailed() { return failures.empty(); }
void SetAnswerHook(AnswerHook hook) { answer_hook = std::move(hook); }

void FailNotifications() { fail_notifications = true; }

void DropCapabilities() {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  std::array<__user_cap_data_struct, 2> none = {};
  ASSERT_EQ(::syscall(SYS_capset, &header, none.data()), 0);
}

int CountLines(const std::string& text, const std::string& part) {
  std::istringstream stream(text);
  int count = 0;
  for (std::string line; std::getline(stream, line);) {
    if (line.find(part) != std::string::npos) ++count;
  }
  return count;
}

bool InChild(const std::function<bool()>& call) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(call() ? 0 : 1);
  int status = -1;
  return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

}  // namespace host::test
