// The agent's extra list, one entry a line of the input: the probes are the ones that its words
// name.
//
// The probes' sockets are of this file, so nothing reaches any network.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "app/snmp_cfg_agent.h"
#include "confd/value_text.h"
#include "delivery/change.h"
#include "fake_device.h"
#include "property.h"
#include "vkos/context.h"

namespace {

constexpr int kProbe = 1 << 20;
constexpr uint16_t kAgentPort = 10160;
constexpr char kFolder[] = "/confd_dyncfg:confdConfig/snmpAgent/";

int open_probes = 0;
std::vector<std::string> probes;

std::string ProbeText(int family, const void* address, unsigned int port) {
  char text[INET6_ADDRSTRLEN] = {};
  inet_ntop(family, address, text, sizeof text);
  return std::string(text) + " " + std::to_string(port);
}

/// What every other port's probe meets.
bool IsTaken(unsigned int port) { return port % 2 == 1; }

}  // namespace

extern "C" {
int __real_close(int fd);

int __wrap_socket(int family, int type, int /*protocol*/) {
  Require(family == AF_INET || family == AF_INET6, "a probe is of IPv4 or IPv6");
  Require(type == SOCK_DGRAM, "a probe is a UDP socket");
  ++open_probes;
  return kProbe;
}

int __wrap_bind(int fd, const sockaddr* address, socklen_t length) {
  Require(fd == kProbe && open_probes == 1, "one probe at a time is bound");
  const bool is_v4 = address->sa_family == AF_INET;
  Require(length == (is_v4 ? sizeof(sockaddr_in) : sizeof(sockaddr_in6)),
          "an address has its family's length");
  const auto* v4 = reinterpret_cast<const sockaddr_in*>(address);
  const auto* v6 = reinterpret_cast<const sockaddr_in6*>(address);
  const uint16_t port = ntohs(is_v4 ? v4->sin_port : v6->sin6_port);
  probes.push_back(is_v4 ? ProbeText(AF_INET, &v4->sin_addr, port)
                         : ProbeText(AF_INET6, &v6->sin6_addr, port));
  errno = EADDRINUSE;
  return IsTaken(port) ? -1 : 0;
}

int __wrap_close(int fd) {
  if (fd != kProbe) return __real_close(fd);
  --open_probes;
  return 0;
}
}

namespace {

/// What the list ought to make the handler do, found without it.
struct Expected {
  std::vector<std::string> probes;
  bool is_bound = true;
  bool is_thrown = false;  ///< At a port that is too large for its type.
};

/// The number that digits make; false when unsigned long cannot hold it.
bool ReadNumber(const std::string& digits, unsigned long* number) {
  *number = 0;
  for (const char digit : digits) {
    const auto value = static_cast<unsigned long>(digit - '0');
    if (*number > (std::numeric_limits<unsigned long>::max() - value) / 10) return false;
    *number = *number * 10 + value;
  }
  return true;
}

/// Adds what one word makes the handler do; false when it ends the list.
bool ExpectWord(const std::string& word, Expected* expected) {
  const size_t last_other = word.find_last_not_of("0123456789");
  if (last_other == std::string::npos || last_other + 1 == word.size() || word[last_other] != ':') {
    return true;
  }
  unsigned long number = 0;
  expected->is_thrown = !ReadNumber(word.substr(last_other + 1), &number);
  if (expected->is_thrown) return false;
  std::string address = word.substr(0, last_other);
  for (const char bracket : {'[', ']'}) {
    address.erase(std::remove(address.begin(), address.end(), bracket), address.end());
  }
  const unsigned int port = number & 0xffffU;
  in6_addr binary = {};
  const int family = address.find(':') == std::string::npos ? AF_INET : AF_INET6;
  const bool is_address = inet_pton(family, address.c_str(), &binary) == 1;
  if (is_address) expected->probes.push_back(ProbeText(family, &binary, port));
  expected->is_bound = expected->is_bound && is_address && !IsTaken(port);
  return true;
}

Expected Expect(const std::vector<std::string>& entries) {
  Expected expected;
  for (const std::string& entry : entries) {
    std::istringstream words(entry);
    for (std::string word; words >> word;) {
      if (!ExpectWord(word, &expected)) return expected;
    }
  }
  return expected;
}

/// The lines of the input up to the first zero byte, at which the printed list would end, too.
std::vector<std::string> Entries(const uint8_t* data, size_t size) {
  std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size).c_str());
  std::vector<std::string> entries;
  for (std::string line; std::getline(lines, line);) entries.push_back(line);
  return entries;
}

confd_value_t ListValue(const std::vector<std::string>& entries) {
  std::vector<confd_value_t> elements;
  for (const std::string& entry : entries) elements.push_back(common::MakeBuf(entry));
  return common::MakeList(elements);
}

void Configure(fake::Database* running, const std::vector<std::string>& entries) {
  const std::string folder = kFolder;
  running->Set(folder + "enabled", common::MakeBool(true));
  running->Set(folder + "ip", common::MakeBuf("127.0.0.1"));
  running->Set(folder + "port", common::MakeUint16(kAgentPort));
  running->Set(folder + "extraIpPorts", ListValue(entries));
}

/// True when `call` went through, false when it threw what a port that is too large throws.
template <typename Call>
bool Passes(const Call& call) {
  probes.clear();
  bool passes = true;
  try {
    call();
  } catch (const std::out_of_range&) {
    passes = false;
  }
  Require(open_probes == 0, "every probe is closed");
  return passes;
}

/// Has the handler probe a changed list.
void CheckChange(SnmpAgentCfgHandler* handler, const std::vector<std::string>& entries,
                 const Expected& expected) {
  const common::OwnedValue list(ListValue(entries));
  bool is_bound = false;
  const bool passes = Passes([&] { is_bound = handler->BindExtra(&list.Value()); });
  Require(passes == !expected.is_thrown, "only a port that is too large is thrown");
  Require(probes == expected.probes, "a changed list's probes are the ones it names");
  if (passes) Require(is_bound == expected.is_bound, "a list is bound when every entry is");
}

/// Has the handler load the configuration and apply it.
void CheckLoad(SnmpAgentCfgHandler* handler, Expected expected) {
  fake::Device& device = fake::Device::Instance();
  const int socket = device.confd.OpenSession(CDB_RUNNING);
  const bool passes = Passes([&] { handler->LoadInitialConfig(socket); });
  device.confd.CloseSession(socket);
  Require(passes == !expected.is_thrown, "only a port that is too large ends the load");
  if (passes) expected.probes.push_back("127.0.0.1 " + std::to_string(kAgentPort));
  Require(probes == expected.probes, "a loaded list's probes are the ones it names");
  if (!passes) return;
  handler->ApplyInitialConfig();
  Require(device.confd.rebinds.size() == (expected.is_bound ? 1U : 0U),
          "the agent is rebound when everything can be bound");
  Require(device.clock.Running() == (expected.is_bound ? 0 : 1), "else the retry runs");
}

void InstallContext() {
  vkmw_process_signature_t signature = {};
  std::string("fuzz").copy(signature.name, sizeof signature.name - 1);
  const vkos::Context::HaStateChangeCallbacks none = {};
  vkos::the_context = std::make_unique<vkos::Context>(&signature, &none);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (vkos::the_context == nullptr) InstallContext();
  fake::Device& device = fake::Device::Instance();
  device.Reset();
  const std::vector<std::string> entries = Entries(data, size);
  const Expected expected = Expect(entries);
  Configure(&device.confd.running, entries);
  SnmpAgentCfgHandler handler;
  handler.SetConfdInterface(&device.confd.interface);
  CheckChange(&handler, entries, expected);
  CheckLoad(&handler, expected);
  return 0;
}
