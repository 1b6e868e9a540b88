#include "config/store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace host {

namespace {

/// Only the daemon's own user reads the file: it holds communities.
constexpr mode_t kFileMode = 0600;

[[noreturn]] void Throw(const std::string& operation, const std::string& path, int error) {
  const std::string text =
      "cannot " + operation + " " + path + ": " + std::generic_category().message(error);
  if (error == ENOSPC || error == EDQUOT) throw NoRoom(text);
  throw std::runtime_error(text);
}

/// What `call` returns when no signal has interrupted it.
template <typename Call>
auto Retried(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

/// Owns a file descriptor.
class Descriptor {
 public:
  /// Throws when the file cannot be opened; `operation` says what for.
  Descriptor(const std::string& path, int flags, const std::string& operation)
      : number_(Retried([&] { return open(path.c_str(), flags | O_CLOEXEC, kFileMode); })) {
    if (number_ < 0) Throw(operation, path, errno);
  }
  ~Descriptor() { close(number_); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int Number() const { return number_; }

 private:
  int number_;
};

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

int Sync(const Descriptor& file) {
  return Retried([&file] { return fsync(file.Number()); });
}

void WriteAndSync(const std::string& path, const std::string& text) {
  const Descriptor file(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, "create");
  size_t written = 0;
  while (written < text.size()) {
    const ssize_t count =
        Retried([&] { return write(file.Number(), text.data() + written, text.size() - written); });
    if (count < 0) Throw("write", path, errno);
    if (count == 0) Throw("write", path, EIO);
    written += static_cast<size_t>(count);
  }
  if (Sync(file) != 0) Throw("write", path, errno);
}

/// Makes `path` the file at `temp`, for good.
void Replace(const std::string& temp, const std::string& path) {
  const std::string folder_path = FolderOf(path);
  const Descriptor folder(folder_path, O_RDONLY | O_DIRECTORY, "open folder");
  if (Retried([&] { return rename(temp.c_str(), path.c_str()); }) != 0) {
    Throw("replace", path, errno);
  }
  // A file system that cannot do this at all says EINVAL (fsync(2)).
  if (Sync(folder) == 0 || errno == EINVAL) return;
  throw UncertainSave(path + " is replaced, but cannot write folder " + folder_path + ": " +
                      std::generic_category().message(errno));
}

/// Removes a file at the begin and at the end of its life.
class Scratch {
 public:
  explicit Scratch(std::string path) : path_(std::move(path)) { unlink(path_.c_str()); }
  ~Scratch() { unlink(path_.c_str()); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

/// 0 when something is at the path, else the reason why nothing is to be seen there.
int Look(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 ? 0 : errno;
}

std::string ReadAll(const Descriptor& file, const std::string& path) {
  std::string text;
  char buffer[65536];
  while (true) {
    const ssize_t count = Retried([&] { return read(file.Number(), buffer, sizeof buffer); });
    if (count < 0) Throw("read", path, errno);
    if (count == 0) return text;
    text.append(buffer, static_cast<size_t>(count));
  }
}

}  // namespace

std::string ReadFile(const std::string& path) {
  // Without O_NONBLOCK the open of a pipe would wait for a writer.
  const Descriptor file(path, O_RDONLY | O_NONBLOCK, "read");
  struct stat status = {};
  if (Retried([&] { return fstat(file.Number(), &status); }) != 0) Throw("read", path, errno);
  if (S_ISDIR(status.st_mode)) Throw("read", path, EISDIR);
  if (!S_ISREG(status.st_mode)) {
    throw std::runtime_error("cannot read " + path + ": it is no regular file");
  }
  std::string text = ReadAll(file, path);
  if (text.size() < static_cast<size_t>(status.st_size)) {
    throw std::runtime_error("cannot read " + path + ": only " + std::to_string(text.size()) +
                             " of " + std::to_string(status.st_size) + " bytes came");
  }
  return text;
}

Store::Store(std::string path) : path_(std::move(path)) {}

std::optional<std::string> Store::Load() const {
  if (!Exists()) return std::nullopt;
  return ReadFile(path_);
}

bool Store::Exists() const { return Look(path_) != ENOENT; }

void Store::Save(const std::string& text) const {
  const Scratch temp(path_ + kTemporary);
  WriteAndSync(temp.Path(), text);
  Replace(temp.Path(), path_);
}

bool Store::MoveTo(const Store& other) const {
  if (!Exists()) return false;
  Replace(path_, other.path_);
  return true;
}

void Store::Remove() const {
  const Descriptor folder(FolderOf(path_), O_RDONLY | O_DIRECTORY, "open folder");
  if (unlink(path_.c_str()) != 0) {
    if (errno == ENOENT) return;
    Throw("remove", path_, errno);
  }
  if (Sync(folder) != 0 && errno != EINVAL) Throw("remove", path_, errno);
}

std::string Store::MoveAside() const {
  std::string aside = path_ + ".refused";
  for (int i = 1; Look(aside) == 0; ++i) aside = path_ + ".refused." + std::to_string(i);
  if (rename(path_.c_str(), aside.c_str()) != 0) Throw("move aside", path_, errno);
  return aside;
}

}  // namespace host
