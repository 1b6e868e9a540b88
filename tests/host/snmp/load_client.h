// Managers that keep asking on a thread of their own.
#pragma once

#include <atomic>
#include <functional>
#include <thread>

#include "client.h"

namespace host::test {

/// Asks from its construction on until it is stopped, and counts.
class LoadClient {
 public:
  enum class Kind {
    kClosedLoop,         ///< The next request follows the answer.
    kThousandPerSecond,  ///< Requests do not wait for answers.
  };

  LoadClient(Kind kind, const Endpoint& server);
  ~LoadClient();

  /// Ends the asking. What is on its way is waited for.
  void Stop() { stop_ = true; }

  /// True once it has stopped and `Sent()` and `Lost()` are final.
  bool IsOver() const { return over_; }

  int Sent() const { return sent_; }
  int Lost() const { return sent_ - answered_; }

 private:
  void AskAndWait();
  void AskInTime();

  Client client_;
  int sent_ = 0;
  int answered_ = 0;
  std::atomic<bool> stop_ = false;
  std::atomic<bool> over_ = false;
  std::thread thread_;
};

}  // namespace host::test
