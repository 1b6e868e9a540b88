// The device that a test runs on: everything that the platform keeps or is asked for, in memory.
#pragma once

#include <string>
#include <vector>

#include "confd/fake_confd.h"
#include "iptools/fake_iptools.h"
#include "vkconfd/fake_framework.h"
#include "vkmw/fake_middleware.h"
#include "vkos/fake_clock.h"
#include "vkos/fake_process.h"
#include "zlog/fake_log.h"

namespace fake {

struct Device {
  /// The one device of the process; never destroyed, so that it serves static destructors, too.
  static Device& Instance();

  /// A new device for the next test: empty databases, no records, time 0, every level logged. What
  /// a program that lives on holds stays valid: log categories, the context, the application
  /// interface, timers (which rest afterwards).
  void Reset();

  /// Adds a line to the journal.
  void Note(const std::string& event);

  /// The journal's lines that begin with `prefix`.
  std::vector<std::string> Events(const std::string& prefix) const;

  /// Everything that the program asked of the platform, one line a call, in order.
  std::vector<std::string> journal;

  Confd confd;
  Framework framework;
  Clock clock;
  Process process;
  Middleware middleware;
  Log log;
  RuleLibrary rules;

 private:
  Device();
};

}  // namespace fake
