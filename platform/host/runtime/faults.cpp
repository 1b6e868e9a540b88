#include "runtime/faults.h"

#include <cstring>

#include "runtime/log.h"

namespace host {

namespace {

std::deque<Fault>& Faults() {
  static std::deque<Fault> faults;
  return faults;
}

zlog_category_t* FaultCategory() {
  static zlog_category_t* const category = vkmw_trace_register_category("fault");
  return category;
}

}  // namespace

const std::deque<Fault>& LastFaults() { return Faults(); }

}  // namespace host

void vkmw_gen_fault(int code, const char* function, const char* file, int line, const char* text) {
  std::deque<host::Fault>& faults = host::Faults();
  if (faults.size() == host::kKeptFaults) faults.pop_front();
  faults.push_back({std::chrono::system_clock::now(), code, function, file, line, text});
  zlog(host::FaultCategory(), file, strlen(file), function, strlen(function), line, host::kNotice,
       "code %d: %s", code, text);
}
