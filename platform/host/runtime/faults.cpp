#include "runtime/faults.h"

#include <cstdlib>
#include <cstring>
#include <deque>
#include <exception>
#include <utility>

#include "runtime/log.h"
#include "runtime/process.h"
#include "runtime/service_manager.h"

namespace host {

namespace {

zlog_category_t* FaultCategory() {
  static zlog_category_t* const category = vkmw_trace_register_category(kFaultCategory);
  return category;
}

void Keep(Fault fault) {
  Process& process = ThisProcess();
  std::deque<Fault>& faults = process.faults;
  if (faults.size() == kKeptFaults) faults.pop_front();
  faults.push_back(std::move(fault));
  if (process.on_fault) process.on_fault(faults.back());
}

/// What there is no memory for, or no descriptors for a loop, is left undone.
template <typename Call>
void Attempt(Call call) {
  try {
    call();
  } catch (const std::exception&) {
  }
}

}  // namespace

void EndAfterFault(const std::string& text) {
  NotifyEnd(text);
  exit(EXIT_FAILURE);
}

}  // namespace host

void vkmw_gen_fault(int code, const char* function, const char* file, int line, const char* text) {
  host::Attempt([&] {
    host::Keep({std::chrono::system_clock::now(), code, function, file, line, text});
  });
  host::Attempt([&] {
    zlog(host::FaultCategory(), file, strlen(file), function, strlen(function), line, host::kNotice,
         "code %d: %s", code, text);
  });
}
