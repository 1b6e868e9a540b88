// The listeners that were found not to hear.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <system_error>

#include "snmp/endpoint.h"

namespace host {

/// Of one listener, as long as it is wanted.
struct DeafRecord {
  uint64_t reopened = 0;   ///< How often it was opened anew.
  std::string reason;      ///< What was noticed last.
  bool hears = false;      ///< It was heard to hear since.
  bool is_closed = false;  ///< It could not be opened anew, or not yet.
};

/// Counts them and words what is told: that one is deaf, once until it hears again, and that it
/// does. One that comes and goes is told of once a minute at most.
class DeafListeners {
 public:
  using Clock = std::chrono::steady_clock;
  using Records = std::map<Endpoint, DeafRecord>;

  /// What told of it: the system, or that it did not answer a request of the daemon's own. Of the
  /// second kind only an answer to such a request heals, since a packet filter may be in the way of
  /// these alone.
  enum class Sign { kSystem, kOwnRequest };

  /// One was found deaf for `reason` and opened anew, which gave `error`. Returns the record to
  /// log, empty for none.
  std::string Reopened(const Endpoint& listener, const std::string& reason, Sign sign,
                       const std::error_code& error, Clock::time_point now);

  /// One was found deaf, and is not opened anew so soon.
  void Closed(const Endpoint& listener, const std::string& reason);

  /// One has heard something. Returns the record to log, empty for none. Costs nothing as long as
  /// all of them hear.
  std::string Hears(const Endpoint& listener, Sign sign) {
    return not_hearing_ == 0 ? "" : Heal(listener, sign);
  }

  /// True when it was opened anew that short a time ago.
  bool WasReopened(const Endpoint& listener, Clock::time_point now, Clock::duration ago) const;

  /// True when it was opened anew for want of an answer, and has not given one since.
  bool IsUnheard(const Endpoint& listener) const;

  /// True when it could not be opened anew, or not yet.
  bool IsClosed(const Endpoint& listener) const;

  /// The listener is not wanted any more.
  void Forget(const Endpoint& listener);

  const Records& OfListeners() const { return records_; }

  /// How often listeners were opened anew, of all that there ever were.
  uint64_t Total() const { return total_; }

 private:
  struct Told {
    Sign sign = Sign::kSystem;
    Clock::time_point reopened;
    Clock::time_point time;  ///< Of the last record.
    bool is_told = false;    ///< And not that it hears again.
  };

  std::string Heal(const Endpoint& listener, Sign sign);
  DeafRecord& Deaf(const Endpoint& listener, const std::string& reason);

  Records records_;
  std::map<Endpoint, Told> told_;
  uint64_t total_ = 0;
  uint64_t not_hearing_ = 0;
};

}  // namespace host
