// What the process tells its service manager; nothing happens without one. See sd_notify(3), the
// protocol's page: the library's call waits for a manager that does not read.
#pragma once

#include <boost/asio/io_context.hpp>
#include <deque>
#include <string>

#include "runtime/waiting.h"

namespace host {

class ServiceManager {
 public:
  /// `loop` outlives the object.
  explicit ServiceManager(boost::asio::io_context& loop)
      : alarm_(loop.get_executor(), "service manager") {}

  /// Sends `text` to the socket NOTIFY_SOCKET and never waits: what a full queue does not take is
  /// sent by the loop, in order and once, as soon as the manager reads. What the system refuses
  /// otherwise is tried for two seconds, and then told in the log.
  void Notify(const std::string& text);

 private:
  void SendWaiting();
  bool SendFirst();

  std::deque<std::string> waiting_;
  int tries_ = 0;  ///< Of the first that waits.
  Alarm alarm_;
};

// To the manager of this process.
void Notify(const std::string& text);

/// The configuration is loaded and applied: the service is up, or up again after a reload. `how` it
/// came about is what operators are shown as the service's status.
void NotifyReady(const std::string& how);

/// The start-up configuration is being read again.
void NotifyReloading();

/// The process is on its way out.
void NotifyStopping();

/// The process ends for this reason, which stays the service's status. What the manager does not
/// take at once is lost; nothing is thrown.
void NotifyEnd(const std::string& reason);

}  // namespace host
