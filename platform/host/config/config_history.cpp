#include "config/config_history.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "config/store.h"
#include "config/text_check.h"
#include "config/tree.h"
#include "runtime/faults.h"
#include "runtime/folders.h"
#include "runtime/log.h"
#include "runtime/memory_or_end.h"
#include "runtime/time_text.h"

namespace host {

namespace {

// The two files of a number.
constexpr char kConfiguration[] = ".json";
constexpr char kCommit[] = ".commit.json";

/// The names in a folder, none when there is no such folder.
std::vector<std::string> NamesOrNone(const std::string& folder) try {
  return NamesIn(folder);
} catch (const std::system_error& error) {
  if (error.code() != std::errc::no_such_file_or_directory) throw;
  return {};
}

/// The numbers of the files with that ending.
std::set<uint32_t> NumbersWith(const std::vector<std::string>& names, const char* ending) {
  std::set<uint32_t> numbers;
  for (const std::string& name : names) {
    uint32_t number = 0;
    const char* const end = name.data() + name.size();
    const auto read = std::from_chars(name.data(), end, number);
    if (read.ec == std::errc() && std::string(read.ptr, end) == ending) numbers.insert(number);
  }
  return numbers;
}

}  // namespace

ConfigHistory::ConfigHistory(ly_ctx* context, std::string running_file, std::string folder)
    : context_(context), running_file_(std::move(running_file)), folder_(std::move(folder)) {}

void ConfigHistory::Open() {
  Attempt([this] { ReadOnce(); });
}

/// Until it is read nobody knows which numbers are taken.
void ConfigHistory::ReadOnce() {
  if (is_read_) return;
  entries_.clear();
  spoilt_.clear();
  const std::string left_out = Read();
  is_read_ = true;
  while (entries_.size() > kMost) RemoveOldest();
  if (!left_out.empty()) HOST_FAULT("the history in " + folder_ + " leaves out: " + left_out);
}

/// Returns what is left out and why, empty for nothing.
std::string ConfigHistory::Read() {
  const std::vector<std::string> names = NamesOrNone(folder_);
  const std::set<uint32_t> configurations = NumbersWith(names, kConfiguration);
  const std::set<uint32_t> commits = NumbersWith(names, kCommit);
  std::set<uint32_t> all = configurations;
  all.insert(commits.begin(), commits.end());
  if (all.empty()) return "";
  last_number_ = *all.rbegin();
  const uint32_t first = *all.begin();
  // What a process that was killed had begun to keep, or to remove.
  if (commits.count(last_number_) == 0) Drop(last_number_, &all);
  if (configurations.count(first) == 0) Drop(first, &all);
  std::string left_out;
  for (const uint32_t number : all) {
    const std::string reason = ReadEntry(number);
    if (reason.empty()) continue;
    spoilt_.insert(number);
    left_out += (left_out.empty() ? "" : "; ") + std::to_string(number) + ", " + reason;
  }
  return left_out;
}

void ConfigHistory::Drop(uint32_t number, std::set<uint32_t>* all) const {
  RemoveFiles(number);
  all->erase(number);
}

/// Returns why it is spoilt, empty when it is not.
std::string ConfigHistory::ReadEntry(uint32_t number) try {
  KeptConfiguration entry = ReadHistoryData(context_, ReadFile(Path(number, kCommit)));
  if (entry.number != number) return "it tells of " + std::to_string(entry.number);
  struct stat status = {};
  if (stat(FileOf(number).c_str(), &status) != 0) return "there is no " + FileOf(number);
  if (status.st_size == 0) return FileOf(number) + " is empty";
  entries_.push_back(std::move(entry));
  return "";
} catch (const std::runtime_error& error) {
  return error.what();
}

void ConfigHistory::Add(const Author& author, const std::string& changes) {
  Attempt([&] {
    Begin(author, changes);
    Keep();
  });
}

void ConfigHistory::AddFound(const Author& author) {
  Attempt([&] {
    ReadOnce();
    if (!entries_.empty() && IsStored(entries_.back().number)) return;
    Begin(author, "");
    Keep();
  });
}

/// What could not be kept by now has no commit, and is nobody's.
void ConfigHistory::Begin(const Author& author, const std::string& changes) {
  if (IsBehind() && pending_->number != 0) RemoveFiles(pending_->number);
  pending_ = {0, TimeText(std::chrono::system_clock::now()), author, changes};
}

void ConfigHistory::Settle() {
  if (IsBehind()) Attempt([this] { Keep(); });
}

/// A configuration without its commit does not count, so that comes last.
void ConfigHistory::Keep() {
  ReadOnce();
  MakePrivateFolder(folder_);
  if (pending_->number == 0) pending_->number = ++last_number_;
  const Tree data = HistoryData(context_, {*pending_});
  const std::string text = PrintTree(data.get());
  if (!Tells(text, data.get())) RefuseMemory();
  KeepFile(FileOf(pending_->number));
  Store(Path(pending_->number, kCommit)).Save(text);
  entries_.push_back(*pending_);
  pending_.reset();
  while (entries_.size() > kMost) RemoveOldest();
}

/// Not all file systems have further names.
void ConfigHistory::KeepFile(const std::string& path) const {
  unlink(path.c_str());
  const int linked =
      linkat(AT_FDCWD, running_file_.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW);
  if (linked != 0) Store(path).Save(ReadFile(running_file_));
}

bool ConfigHistory::IsStored(uint32_t number) const try {
  return ReadFile(FileOf(number)) == ReadFile(running_file_);
} catch (const std::runtime_error&) {
  return false;
}

bool ConfigHistory::GiveWay(uint64_t size) {
  struct statvfs disk = {};
  if (statvfs(folder_.c_str(), &disk) != 0) return false;
  const uint64_t blocks = (size + disk.f_frsize - 1) / disk.f_frsize;
  uint64_t room = uint64_t{disk.f_bavail} * disk.f_frsize;
  size_t count = 0;
  for (; count < entries_.size() && room < blocks * disk.f_frsize; ++count) {
    room += SizeOf(entries_[count].number);
  }
  if (count == 0 || room < blocks * disk.f_frsize) return false;
  HOST_LOG(kNotice, "No room: the %zu oldest configurations of the history go.", count);
  for (; count > 0; --count) RemoveOldest();
  return true;
}

/// What is free when its files are removed, in bytes.
uint64_t ConfigHistory::SizeOf(uint32_t number) const {
  constexpr uint64_t kBlock = 512;  // stat(2)
  uint64_t size = 0;
  for (const std::string& path : {FileOf(number), Path(number, kCommit)}) {
    struct stat status = {};
    const bool is_last_name = stat(path.c_str(), &status) == 0 && status.st_nlink == 1;
    if (is_last_name) size += static_cast<uint64_t>(status.st_blocks) * kBlock;
  }
  return size;
}

/// The configuration goes first: a commit without one does not count. What was spoilt before it
/// goes with it.
void ConfigHistory::RemoveOldest() {
  const uint32_t number = entries_.front().number;
  entries_.pop_front();
  spoilt_.insert(number);
  while (!spoilt_.empty() && *spoilt_.begin() <= number) {
    RemoveFiles(*spoilt_.begin());
    spoilt_.erase(spoilt_.begin());
  }
}

void ConfigHistory::RemoveFiles(uint32_t number) const {
  unlink(FileOf(number).c_str());
  unlink(Path(number, kCommit).c_str());
  unlink((Path(number, kCommit) + Store::kTemporary).c_str());
}

bool ConfigHistory::Has(uint32_t number) const {
  return std::any_of(entries_.begin(), entries_.end(),
                     [number](const KeptConfiguration& entry) { return entry.number == number; });
}

std::string ConfigHistory::FileOf(uint32_t number) const { return Path(number, kConfiguration); }

std::string ConfigHistory::Path(uint32_t number, const char* ending) const {
  return folder_ + "/" + std::to_string(number) + ending;
}

void ConfigHistory::NoteSuccess() {
  if (fails_) HOST_LOG(kNotice, "Configurations are kept in %s again.", folder_.c_str());
  fails_ = false;
}

/// Behind a save nothing may pass for its failure, so nothing leaves this.
void ConfigHistory::NoteFailure(const char* reason) {
  if (fails_) return;
  fails_ = true;
  try {
    HOST_FAULT("the configuration in force is not in the history, and tried again until it is: " +
               std::string(reason));
  } catch (const std::exception&) {
  }
}

}  // namespace host
