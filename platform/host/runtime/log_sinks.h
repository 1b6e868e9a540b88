// Where records go: whoever does not read them holds nobody who writes them.
#pragma once

#include <spdlog/sinks/base_sink.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

namespace host {

/// Waits for a slow reader two seconds at most, and no more than half of the time. A record that is
/// not taken by then is lost, and so is what comes as long as nothing is taken at once; the next
/// one that is comes behind one that tells how many were.
class LossySink : public spdlog::sinks::base_sink<std::mutex> {
 protected:
  using Clock = std::chrono::steady_clock;

  void sink_it_(const spdlog::details::log_msg& message) final;
  void flush_() final {}

  /// Takes a record, which is in `line` with a line end, within TimeLeft(). False when it is not
  /// taken. Called under the sink's lock.
  virtual bool Take(const spdlog::details::log_msg& message, const std::string& line) = 0;

  /// What is left for the record, 0 or more.
  std::chrono::milliseconds TimeLeft() const;

 private:
  bool Format(const spdlog::details::log_msg& message);
  bool TellLost();

  Clock::duration patience_{};  ///< To wait for records at this time.
  Clock::time_point last_{};    ///< When the last record was dealt with.
  Clock::time_point deadline_;  ///< Of this record.
  uint64_t lost_ = 0;
};

/// A pipe, terminal, socket or file.
class StandardErrorSink final : public LossySink {
 public:
  /// The descriptor stays the caller's and outlives the object.
  explicit StandardErrorSink(int descriptor = STDERR_FILENO) : descriptor_(descriptor) {}

 private:
  bool Take(const spdlog::details::log_msg& message, const std::string& line) override;
  bool WriteRest();
  bool IsWritable() const;
  ssize_t WriteSome();

  int descriptor_;
  std::string rest_;  ///< Of a record that was taken in part.
};

/// The journal, by its native protocol; see systemd.journal-fields(7). Faults have priority 3, the
/// levels notice, progress and detail 5, 6 and 7; the category is the field SNMP_APP_CATEGORY.
class JournalSink final : public LossySink {
 public:
  /// Records carry `identifier` as SYSLOG_IDENTIFIER. `path` is the journal's socket, which need
  /// not be there yet.
  explicit JournalSink(const std::string& identifier,
                       const std::string& path = "/run/systemd/journal/socket");
  ~JournalSink() override;
  JournalSink(const JournalSink&) = delete;
  JournalSink& operator=(const JournalSink&) = delete;

 private:
  bool Take(const spdlog::details::log_msg& message, const std::string& line) override;
  int WaitFlag() const;

  std::string identifier_;
  std::string path_;
  int socket_;
};

}  // namespace host
