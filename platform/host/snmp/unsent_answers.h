// The answers that the system did not send.
#pragma once

#include <sys/socket.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <system_error>

#include "snmp/endpoint.h"

namespace host {

/// Of one listener, as long as that is open.
struct UnsentRecord {
  uint64_t count = 0;
  std::string last_error;  ///< In the words of the system.
};

/// Counts them, and tells of a listener's first one. It is told of another one only after an answer
/// to the same manager was sent, and a minute later at the earliest, so that a manager who comes
/// and goes, or a sender of forged requests, cannot fill the log.
class UnsentAnswers {
 public:
  using Clock = std::chrono::steady_clock;
  using Records = std::map<Endpoint, UnsentRecord>;

  /// One to `peer` was not sent, for `error`. Returns the record to log, empty for none.
  std::string Failed(const Endpoint& listener, const sockaddr_storage& peer,
                     const std::error_code& error, Clock::time_point now);

  /// One was sent. Costs nothing as long as all of them are.
  void Sent(const Endpoint& listener, const sockaddr_storage& peer) {
    if (!told_.empty()) Heal(listener, peer);
  }

  /// The listener is closed.
  void Forget(const Endpoint& listener);

  const Records& OfListeners() const { return records_; }

  /// Of all listeners that there ever were.
  uint64_t Total() const { return total_; }

 private:
  struct Told {
    std::string peer;
    Clock::time_point time;  ///< Of the last record.
    bool is_healed = false;
  };

  void Heal(const Endpoint& listener, const sockaddr_storage& peer);

  Records records_;
  uint64_t total_ = 0;
  std::map<Endpoint, Told> told_;
};

}  // namespace host
