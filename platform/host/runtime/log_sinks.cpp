#include "runtime/log_sinks.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "runtime/log.h"

namespace host {

namespace {

constexpr std::chrono::seconds kPatience(2);
constexpr int kShare = 2;

/// A terminal that can be written to may still wait, unless it was opened not to.
ssize_t WriteToTerminal(int descriptor, const std::string& text) {
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  const int terminal = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (terminal < 0) return write(descriptor, text.data(), text.size());
  const ssize_t written = write(terminal, text.data(), text.size());
  const int error = errno;
  close(terminal);
  errno = error;
  return written;
}

/// What an operator has to look at stands out; see syslog(3).
int Priority(const spdlog::details::log_msg& message) {
  if (message.logger_name == kFaultCategory) return LOG_ERR;
  if (message.level >= spdlog::level::warn) return LOG_NOTICE;
  return message.level == spdlog::level::info ? LOG_INFO : LOG_DEBUG;
}

std::string Field(const char* name, const std::string& value) {
  return std::string(name) + "=" + value + "\n";
}

}  // namespace

void LossySink::sink_it_(const spdlog::details::log_msg& message) {
  const Clock::time_point begin = Clock::now();
  patience_ = std::min<Clock::duration>(kPatience, patience_ + (begin - last_) / kShare);
  deadline_ = lost_ > 0 ? begin : begin + patience_;
  if ((lost_ > 0 && !TellLost()) || !Format(message)) ++lost_;
  last_ = Clock::now();
  patience_ = std::max(patience_ - (last_ - begin), Clock::duration::zero());
}

std::chrono::milliseconds LossySink::TimeLeft() const {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - Clock::now());
  return std::max(left, std::chrono::milliseconds(0));
}

bool LossySink::Format(const spdlog::details::log_msg& message) {
  spdlog::memory_buf_t line;
  formatter_->format(message, line);
  return Take(message, {line.data(), line.size()});
}

bool LossySink::TellLost() {
  const std::string text =
      std::to_string(lost_) + " records are missing here: they were not taken in time";
  if (!Format({{__FILE__, __LINE__, __func__}, "platform", spdlog::level::warn, text})) {
    return false;
  }
  lost_ = 0;
  return true;
}

bool StandardErrorSink::Take(const spdlog::details::log_msg& /*message*/, const std::string& line) {
  if (!WriteRest()) return false;
  rest_ = line;
  if (WriteRest() || rest_.size() < line.size()) return true;
  rest_.clear();
  return false;
}

bool StandardErrorSink::WriteRest() {
  while (!rest_.empty()) {
    if (!IsWritable()) return false;
    const ssize_t written = WriteSome();
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    rest_.erase(0, static_cast<size_t>(written));
  }
  return true;
}

bool StandardErrorSink::IsWritable() const {
  pollfd waited = {descriptor_, POLLOUT, 0};
  int ready = -1;
  do {
    ready = poll(&waited, 1, static_cast<int>(TimeLeft().count()));
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

/// Others may have the same open file, so it is not made non-blocking. A pipe that can be written
/// to takes PIPE_BUF bytes (pipe(7)).
ssize_t StandardErrorSink::WriteSome() {
  struct stat status = {};
  fstat(descriptor_, &status);
  if (S_ISSOCK(status.st_mode)) {
    return send(descriptor_, rest_.data(), rest_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  }
  if (S_ISCHR(status.st_mode)) return WriteToTerminal(descriptor_, rest_);
  return write(descriptor_, rest_.data(), std::min<size_t>(rest_.size(), PIPE_BUF));
}

JournalSink::JournalSink(const std::string& identifier, const std::string& path)
    : identifier_(identifier),
      path_(path),
      socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}

JournalSink::~JournalSink() {
  if (socket_ >= 0) close(socket_);
}

/// A record is one line, so all fields have their plain form.
bool JournalSink::Take(const spdlog::details::log_msg& message, const std::string& line) {
  std::string fields =
      Field("MESSAGE", line.substr(0, line.find('\n'))) +
      Field("PRIORITY", std::to_string(Priority(message))) +
      Field("SYSLOG_IDENTIFIER", identifier_) +
      Field("SNMP_APP_CATEGORY", {message.logger_name.data(), message.logger_name.size()});
  if (!message.source.empty()) {
    fields += Field("CODE_FILE", message.source.filename) +
              Field("CODE_LINE", std::to_string(message.source.line)) +
              Field("CODE_FUNC", message.source.funcname);
  }
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path_.copy(address.sun_path, sizeof address.sun_path - 1);
  const auto* to = reinterpret_cast<const sockaddr*>(&address);
  while (sendto(socket_, fields.data(), fields.size(), WaitFlag() | MSG_NOSIGNAL, to,
                sizeof address) < 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

/// Has a send wait as long as there is time, but not for ever.
int JournalSink::WaitFlag() const {
  const std::chrono::milliseconds left = TimeLeft();
  if (left.count() == 0) return MSG_DONTWAIT;
  const timeval time = {static_cast<time_t>(left.count() / 1000),
                        static_cast<suseconds_t>(left.count() % 1000 * 1000)};
  return setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time) == 0 ? 0 : MSG_DONTWAIT;
}

}  // namespace host
