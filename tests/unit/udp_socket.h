// Real UDP sockets and limits for tests of the bind probe.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <iterator>
#include <stdexcept>

/// A UDP socket bound to an unused port of a loopback address.
class UdpSocket {
 public:
  enum Sharing { kAlone, kShared };

  UdpSocket(int family, Sharing sharing) : fd_(socket(family, SOCK_DGRAM, 0)) {
    const int on = sharing == kShared ? 1 : 0;
    setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (!(family == AF_INET ? BindV4() : BindV6())) {
      close(fd_);
      throw std::runtime_error("no socket on loopback");
    }
  }
  ~UdpSocket() { close(fd_); }
  UdpSocket(const UdpSocket&) = delete;
  UdpSocket& operator=(const UdpSocket&) = delete;

  uint16_t Port() const { return port_; }

 private:
  bool BindV4() {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool bound = Bind(&address);
    port_ = ntohs(address.sin_port);
    return bound;
  }

  bool BindV6() {
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    const bool bound = Bind(&address);
    port_ = ntohs(address.sin6_port);
    return bound;
  }

  /// Binds and reads back the port that the system chose.
  template <typename Address>
  bool Bind(Address* address) const {
    socklen_t length = sizeof *address;
    auto* generic = reinterpret_cast<sockaddr*>(address);
    return bind(fd_, generic, length) == 0 && getsockname(fd_, generic, &length) == 0;
  }

  int fd_;
  uint16_t port_ = 0;
};

/// False on a machine without the IPv6 loopback address.
inline bool HasIpv6() {
  try {
    UdpSocket probe(AF_INET6, UdpSocket::kAlone);
    return true;
  } catch (const std::runtime_error&) {
    return false;
  }
}

/// No further file can be opened while this lives.
class NoMoreFiles {
 public:
  NoMoreFiles() {
    getrlimit(RLIMIT_NOFILE, &limit_);
    const rlimit none = {0, limit_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoMoreFiles() { setrlimit(RLIMIT_NOFILE, &limit_); }
  NoMoreFiles(const NoMoreFiles&) = delete;
  NoMoreFiles& operator=(const NoMoreFiles&) = delete;

 private:
  rlimit limit_ = {};
};

/// Number of files that the process has open.
inline long OpenFiles() {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return std::distance(begin(files), end(files));
}
