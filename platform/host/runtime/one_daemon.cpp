#include "runtime/one_daemon.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <boost/asio/local/stream_protocol.hpp>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "runtime/door.h"
#include "runtime/faults.h"
#include "runtime/folders.h"
#include "runtime/log.h"

namespace host {

namespace {

using Stream = boost::asio::local::stream_protocol;

/// The zero in front makes the name abstract.
const std::string& SocketName() {
  static const std::string name("\0snmp-app", 9);
  return name;
}

struct Claims {
  int network = -1;                    ///< The bound socket.
  std::map<std::string, int> folders;  ///< The open folder of each path.
};

/// Never destroyed: what is claimed stays so until the very end of the process.
Claims& OfProcess() {
  static auto* const claims = new Claims;
  return *claims;
}

[[noreturn]] void Refuse(pid_t holder, const std::string& what) {
  const std::string process =
      holder > 0 ? "process " + std::to_string(holder) : "a process that is not seen from here";
  throw std::runtime_error("another snmp-app, " + process + ", " + what);
}

/// Nobody is served at the socket. Who connected only wants to know whose it is; without anybody to
/// turn it away, it waits in the queue. The socket stays the process's.
class Doorkeeper {
 public:
  Doorkeeper(boost::asio::io_context& loop, int socket) : acceptor_(loop, Stream(), socket) {}
  ~Doorkeeper() {
    boost::system::error_code ignored;
    acceptor_.release(ignored);
  }
  Doorkeeper(const Doorkeeper&) = delete;
  Doorkeeper& operator=(const Doorkeeper&) = delete;

 private:
  Stream::acceptor acceptor_;
  Door door_{&acceptor_, "connection to the daemon's name", [](const Stream::socket&) {}};
};

/// False when the name is taken.
bool BindNetwork() {
  boost::asio::io_context unused;
  Stream::acceptor acceptor(unused, Stream());
  fcntl(acceptor.native_handle(), F_SETFD, FD_CLOEXEC);
  boost::system::error_code error;
  acceptor.bind(Stream::endpoint(SocketName()), error);
  if (error == boost::asio::error::address_in_use) return false;
  if (error) throw std::runtime_error("cannot claim the network namespace: " + error.message());
  acceptor.listen();
  OfProcess().network = acceptor.release();
  return true;
}

/// Who holds the socket; process 0 when that cannot be told, also where it is none that is seen
/// from here.
ucred HolderOfNetwork() {
  ucred holder = {0, 0, 0};
  boost::asio::io_context unused;
  Stream::socket socket(unused);
  boost::system::error_code error;
  socket.open(Stream(), error);
  socket.non_blocking(true, error);
  socket.connect(Stream::endpoint(SocketName()), error);
  socklen_t size = sizeof holder;
  if (!error) getsockopt(socket.native_handle(), SOL_SOCKET, SO_PEERCRED, &holder, &size);
  return holder;
}

bool HasNetworkCapability(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  std::string field;
  uint64_t effective = 0;
  while (status >> field) {
    if (field == "CapEff:") status >> std::hex >> effective;
  }
  return (effective >> CAP_NET_ADMIN & 1) != 0;
}

bool IsInThisUserNamespace(pid_t process) {
  struct stat own = {};
  struct stat other = {};
  return stat("/proc/self/ns/user", &own) == 0 &&
         stat(("/proc/" + std::to_string(process) + "/ns/user").c_str(), &other) == 0 &&
         own.st_dev == other.st_dev && own.st_ino == other.st_ino;
}

/// Whether a process may keep this one from working. Root may, and the same user, who could end it
/// just as well; anybody else only with a right to the network that is no namespace's of its own.
bool Counts(const ucred& holder) {
  return holder.uid == 0 || holder.uid == geteuid() ||
         (HasNetworkCapability(holder.pid) && IsInThisUserNamespace(holder.pid));
}

void ClaimNetwork() {
  if (OfProcess().network >= 0 || BindNetwork()) return;
  const ucred holder = HolderOfNetwork();
  if (Counts(holder)) Refuse(holder.pid, "serves this network namespace");
  HOST_FAULT("process " + std::to_string(holder.pid) + " of user " + std::to_string(holder.uid) +
             " holds the name of snmp-app in this network namespace; a second snmp-app would not "
             "be noticed here");
}

/// Who holds the lock of an open file, as proc_locks(5) has it; 0 when that is not seen from here.
/// A lock by fcntl(2) would name its owner, but be gone as soon as the process closes the folder
/// that it saves into.
pid_t HolderOfLock(int file) {
  struct stat status = {};
  std::array<char, 64> identity = {};
  if (fstat(file, &status) != 0) return 0;
  snprintf(identity.data(), identity.size(), "%02x:%02x:%ju", major(status.st_dev),
           minor(status.st_dev), static_cast<uintmax_t>(status.st_ino));
  std::ifstream locks("/proc/locks");
  std::string number;
  std::string kind;
  std::string enforcement;
  std::string access;
  std::string place;
  std::string rest;
  for (pid_t process = 0; locks >> number >> kind >> enforcement >> access >> process >> place;
       std::getline(locks, rest)) {
    if (kind == "FLOCK" && place == identity.data()) return process;
  }
  return 0;
}

void LockFolder(int folder, const std::string& path) {
  if (flock(folder, LOCK_EX | LOCK_NB) == 0) {
    OfProcess().folders[path] = folder;
    return;
  }
  const int error = errno;
  const pid_t holder = HolderOfLock(folder);
  close(folder);
  if (error == EWOULDBLOCK) Refuse(holder, "works with the state folder " + path);
  HOST_LOG(kNotice, "%s: cannot be locked: %s", path.c_str(),
           std::generic_category().message(error).c_str());
}

void ClaimFolder(const std::string& path) {
  if (OfProcess().folders.count(path) != 0) return;
  MakePrivateFolder(path);
  const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder >= 0) {
    LockFolder(folder, path);
  } else {
    HOST_LOG(kNotice, "%s: no folder to keep the configuration in: %s", path.c_str(),
             std::generic_category().message(errno).c_str());
  }
}

}  // namespace

std::shared_ptr<void> ClaimAlone(const std::string& state, boost::asio::io_context& loop) {
  ClaimNetwork();
  ClaimFolder(state);
  if (OfProcess().network < 0) return nullptr;
  return std::make_shared<Doorkeeper>(loop, OfProcess().network);
}

}  // namespace host
