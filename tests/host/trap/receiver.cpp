#include "receiver.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/udp.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace host::test {

namespace {

using boost::asio::ip::address_v4;
using boost::asio::ip::udp;

constexpr char kProgram[] = "/usr/sbin/snmptrapd";

/// Of the whole wait for a trap.
constexpr auto kDeadline = std::chrono::seconds(20);

/// Between two messages, while nothing is printed.
constexpr int kMomentMs = 50;

/// What a line of a trap begins with.
constexpr char kTrapMark[] = "trap|";

std::string MakeFolder() {
  char name[] = "/tmp/snmp-app-receiver-XXXXXX";
  if (::mkdtemp(name) == nullptr) throw std::runtime_error("no temporary folder");
  return name;
}

udp::socket AnySocket(boost::asio::io_context* context) {
  return {*context, udp::endpoint(address_v4::loopback(), 0)};
}

uint16_t FreePort() {
  boost::asio::io_context unused;
  return AnySocket(&unused).local_endpoint().port();
}

/// The first whole line of a trap; empty when there is none.
std::string TrapLine(const std::string& printed) {
  const size_t begin = printed.find(kTrapMark);
  if (begin == std::string::npos) return "";
  const size_t end = printed.find('\n', begin);
  return end == std::string::npos ? "" : printed.substr(begin, end - begin);
}

}  // namespace

bool Receiver::IsInstalled() { return ::access(kProgram, X_OK) == 0; }

Receiver::Receiver(const std::string& community) : folder_(MakeFolder()), port_(FreePort()) {
  WriteConfiguration(community);
  Start();
}

Receiver::~Receiver() {
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
  ::close(output_);
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void Receiver::WriteConfiguration(const std::string& community) const {
  std::ofstream file(folder_ + "/receiver.conf");
  file << "authCommunity log " << community << "\nformat2 " << kTrapMark << "%P|%v\\n\n";
}

void Receiver::Start() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  process_ = ::fork();
  if (process_ == 0) BecomeReceiver(ends[1]);
  ::close(ends[1]);
  output_ = ends[0];
  if (process_ < 0) throw std::runtime_error("no process");
}

void Receiver::BecomeReceiver(int output) const {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::dup2(output, STDOUT_FILENO);
  ::dup2(output, STDERR_FILENO);
  const std::string file = folder_ + "/receiver.conf";
  const std::string address = "udp:127.0.0.1:" + std::to_string(port_);
  const std::string state = "SNMP_PERSISTENT_DIR=" + folder_;
  const char* const arguments[] = {kProgram,     "-f",  "-Lo",           "-n",   "-C", "-c",
                                   file.c_str(), "-On", address.c_str(), nullptr};
  const char* const environment[] = {"MIBS=", state.c_str(), nullptr};
  ::execve(kProgram, const_cast<char* const*>(arguments), const_cast<char* const*>(environment));
  ::_exit(127);
}

bool Receiver::Read() {
  pollfd waiting = {output_, POLLIN, 0};
  if (::poll(&waiting, 1, kMomentMs) <= 0) return true;
  char bytes[4096];
  const ssize_t size = ::read(output_, bytes, sizeof bytes);
  if (size <= 0) return false;
  printed_.append(bytes, static_cast<size_t>(size));
  return true;
}

std::string Receiver::Receive(const std::vector<uint8_t>& message) {
  boost::asio::io_context unused;
  udp::socket socket = AnySocket(&unused);
  const udp::endpoint receiver(address_v4::loopback(), port_);
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  do {
    boost::system::error_code ignored;
    socket.send_to(boost::asio::buffer(message), receiver, 0, ignored);
  } while (Read() && TrapLine(printed_).empty() && std::chrono::steady_clock::now() < deadline);
  const std::string line = TrapLine(printed_);
  return line.empty() ? printed_ : line;
}

}  // namespace host::test
