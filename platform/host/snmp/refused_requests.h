// The requests that get no answer, or make the library complain.
#pragma once

#include <sys/socket.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace host {

/// Counts them by sender, and tells of each sender's once a minute at most: the first at once, the
/// others as a sum. Of senders beyond the first ones (kMostSenders at a time) there is one sum.
class RefusedRequests {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr size_t kMostSenders = 64;

  /// One of `peer` was refused for `reason`, a few words. Returns the record to log, empty for
  /// none.
  std::string Refused(const sockaddr_storage& peer, const std::string& reason,
                      Clock::time_point now);

  /// To be called now and then: the records of sums that are due. Senders that are quiet are
  /// forgotten.
  std::vector<std::string> TakeDue(Clock::time_point now);

  /// The records of all sums, due or not; everybody is forgotten.
  std::vector<std::string> TakeAll();

  /// Since the start.
  uint64_t Total() const { return total_; }

 private:
  struct Sender {
    uint64_t untold = 0;
    std::string reason;  ///< Of the last one.
    Clock::time_point told;
  };

  std::map<std::string, Sender> senders_;  ///< By address.
  uint64_t of_others_ = 0;
  uint64_t total_ = 0;
};

}  // namespace host
