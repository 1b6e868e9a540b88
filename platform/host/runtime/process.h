// What one context of the process has: made by vkos::Context, and handed down from there.
#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>

#include "runtime/faults.h"
#include "runtime/ha_role.h"
#include "runtime/service_manager.h"
#include "runtime/timer_facts.h"
#include "vkmw/vkmw.h"

namespace host {

class Engine;
class Framework;
class Rules;

/// The event loop and what happens on it. Of one thread, as all that it holds.
///
/// What is not in here belongs to the operating system's process, whatever its contexts do, and
/// outlives each of them: the log and its categories (platform/api keeps them until the process
/// ends, and records come from the agent's thread too), ConfD's table of tags (numbers that are
/// compiled into the program), the claims of one_daemon.h, and the SNMP library's state.
class Process {
 public:
  Process();
  ~Process();

  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// The process is told its role.
  void TakeRole(HaRole told);

  /// Calls `reload` in this process's name; nothing happens when it is empty.
  void Reload();

  /// The program's timers and their loop, which they keep: one that outlives this object still has
  /// a loop to end in, but is not called any more.
  const std::shared_ptr<TimerLoop> timers = std::make_shared<TimerLoop>();

  /// The loop that everything else of this process runs on as well, and that outlives it all.
  boost::asio::io_context& loop = timers->loop;

  std::deque<Fault> faults;  ///< The last ones, oldest first; at most kKeptFaults.
  HaRole role = HaRole::kUnknown;
  const std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();

  /// Told of what was added to `faults`, and of a `role` that is another one; may be empty. What it
  /// throws is lost.
  std::function<void(const Fault& fault)> on_fault;
  std::function<void(HaRole role)> on_role;
  ServiceManager service_manager{loop};

  /// What is done when the process is told to read its start-up configuration again.
  std::function<void()> reload;

  /// Called before each sign of life of the watchdog; one that does not return keeps it back.
  std::function<void()> watchdog_check;

  /// What the calls of platform/api work on; null for none. Set and cleared by their owners.
  Engine* engine = nullptr;
  Rules* rules = nullptr;
  Framework* framework = nullptr;

 private:
  Process* older_;  ///< Of those that live; null for the oldest.
};

/// The process that a call of platform/api is about, for the entry points that are given nothing
/// to tell it by: the one whose ProcessScope is the innermost, else the newest that lives, else one
/// that is never destroyed, so that a fault or a timer without a context does no harm. All else is
/// handed its process.
Process& ThisProcess();

/// Calls of platform/api are about `process` as long as this lives. Scopes nest, and `process`
/// outlives them.
class ProcessScope {
 public:
  explicit ProcessScope(Process& process);
  ~ProcessScope();

  ProcessScope(const ProcessScope&) = delete;
  ProcessScope& operator=(const ProcessScope&) = delete;

 private:
  Process* outer_;
};

}  // namespace host

/// The middleware's handle of a process.
struct vkmw_t {
  vkmw_process_signature_t signature;
  host::Process process;
};
