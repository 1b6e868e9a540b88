// The last configurations that were in force, each of them whole.
#pragma once

#include <libyang/libyang.h>

#include <cstdint>
#include <deque>
#include <exception>
#include <optional>
#include <set>
#include <string>

#include "config/kept_configuration.h"

namespace host {

/// A folder with two files for each: the configuration, which is a further name (link(2)) of the
/// file that it was stored in, so that it is not written twice, and who put it in force. Both are
/// their owner's alone, for there are communities in them. The newest one is what is in force.
///
/// What cannot be kept never keeps a commit from being one: it is a fault, told once until
/// something could be kept again, and is tried again.
class ConfigHistory {
 public:
  static constexpr size_t kMost = 50;

  /// The configuration in force is stored in `running_file`, which is replaced by others and never
  /// written into. `folder` is made when there is something to keep. `context` has the models and
  /// outlives the object.
  ConfigHistory(ly_ctx* context, std::string running_file, std::string folder);

  ConfigHistory(const ConfigHistory&) = delete;
  ConfigHistory& operator=(const ConfigHistory&) = delete;

  /// Reads what is kept; what of it is spoilt is left out, which is a fault.
  void Open();

  /// Keeps what is stored now, which `author` has put there; the oldest one goes for it.
  void Add(const Author& author, const std::string& changes);

  /// The same at a start, unless it is what is in force already.
  void AddFound(const Author& author);

  /// Tries again what could not be kept. To be called, too, before the stored one is replaced:
  /// then it is the last time.
  void Settle();

  /// Whether what is stored could not be kept so far.
  bool IsBehind() const { return pending_.has_value(); }

  /// Has as many of the oldest ones go as it takes to have room for a file of `size` bytes. False
  /// when that does not help, or they are not what is in the way: all stay then.
  bool GiveWay(uint64_t size);

  /// By number, the newest last.
  const std::deque<KeptConfiguration>& Entries() const { return entries_; }

  bool Has(uint32_t number) const;

  /// The file with the configuration of a number.
  std::string FileOf(uint32_t number) const;

 private:
  template <typename Step>
  void Attempt(Step step) {
    try {
      step();
      NoteSuccess();
    } catch (const std::exception& error) {
      NoteFailure(error.what());
    }
  }

  void NoteSuccess();
  void NoteFailure(const char* reason);
  std::string Path(uint32_t number, const char* ending) const;
  void ReadOnce();
  std::string Read();
  std::string ReadEntry(uint32_t number);
  void Drop(uint32_t number, std::set<uint32_t>* all) const;
  void Begin(const Author& author, const std::string& changes);
  void Keep();
  void KeepFile(const std::string& path) const;
  bool IsStored(uint32_t number) const;
  uint64_t SizeOf(uint32_t number) const;
  void RemoveOldest();
  void RemoveFiles(uint32_t number) const;

  ly_ctx* context_;
  std::string running_file_;
  std::string folder_;
  std::deque<KeptConfiguration> entries_;
  std::set<uint32_t> spoilt_;
  std::optional<KeptConfiguration> pending_;  ///< Is stored, and not kept yet.
  uint32_t last_number_ = 0;
  bool is_read_ = false;
  bool fails_ = false;
};

}  // namespace host
