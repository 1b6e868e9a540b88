#include "network.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <netlink/netlink.h>
#include <nftables/libnftables.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <system_error>

namespace {

int kernel_calls = 0;
bool lose_table = false;

}  // namespace

extern "C" {

int __real_nft_run_cmd_from_buffer(nft_ctx* context, const char* commands);
int __real_nl_send_auto(nl_sock* socket, nl_msg* message);

int __wrap_nft_run_cmd_from_buffer(nft_ctx* context, const char* commands) {
  ++kernel_calls;
  if (lose_table) __real_nft_run_cmd_from_buffer(context, "delete table inet snmp-app");
  lose_table = false;
  return __real_nft_run_cmd_from_buffer(context, commands);
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
  const std::unique_ptr<nft_ctx, void (*)(nft_ctx*)> context(nft_ctx_new(NFT_CTX_DEFAULT),
                                                             nft_ctx_free);
  nft_ctx_buffer_output(context.get());
  nft_ctx_buffer_error(context.get());
  __real_nft_run_cmd_from_buffer(context.get(), commands.c_str());
  return std::string(nft_ctx_get_output_buffer(context.get())) +
         nft_ctx_get_error_buffer(context.get());
}

int KernelCalls() { return kernel_calls; }

void LoseTable() { lose_table = true; }

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
