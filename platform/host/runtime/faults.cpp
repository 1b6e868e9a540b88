#include "runtime/faults.h"

#include <cstdlib>
#include <cstring>
#include <deque>

#include "runtime/log.h"
#include "runtime/process.h"

namespace host {

namespace {

zlog_category_t* FaultCategory() {
  static zlog_category_t* const category = vkmw_trace_register_category("fault");
  return category;
}

}  // namespace

void EndAfterFault() { exit(EXIT_FAILURE); }

}  // namespace host

void vkmw_gen_fault(int code, const char* function, const char* file, int line, const char* text) {
  std::deque<host::Fault>& faults = host::ThisProcess().faults;
  if (faults.size() == host::kKeptFaults) faults.pop_front();
  faults.push_back({std::chrono::system_clock::now(), code, function, file, line, text});
  zlog(host::FaultCategory(), file, strlen(file), function, strlen(function), line, host::kNotice,
       "code %d: %s", code, text);
}
