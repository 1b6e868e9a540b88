#include "runtime/process.h"

#include <exception>

namespace host {

namespace {

Process* entered = nullptr;
Process* newest = nullptr;

}  // namespace

Process::Process() : older_(newest) { newest = this; }

/// A new context is made before the one that it replaces is destroyed, so any of them may go first.
Process::~Process() {
  Process** link = &newest;
  while (*link != this) link = &(*link)->older_;
  *link = older_;
}

void Process::TakeRole(HaRole told) {
  const bool is_other = role != told;
  role = told;
  if (!is_other || !on_role) return;
  try {
    on_role(told);
  } catch (const std::exception&) {
    // Whoever asks for the role is told.
  }
}

void Process::Reload() {
  const ProcessScope scope(*this);
  if (reload) reload();
}

Process& ThisProcess() {
  if (entered != nullptr) return *entered;
  if (newest != nullptr) return *newest;
  static Process* const nobodys = [] {
    auto* const process = new Process;
    newest = nullptr;
    return process;
  }();
  return *nobodys;
}

ProcessScope::ProcessScope(Process& process) : outer_(entered) { entered = &process; }

ProcessScope::~ProcessScope() { entered = outer_; }

}  // namespace host
