#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "runtime/log.h"
#include "vkmw/vkmw.h"

namespace host {

namespace {

constexpr int kMaxFrames = 64;

/// The function that `address` lies in, as it was declared, else the object file.
std::string FunctionName(void* address) {
  Dl_info info = {};
  if (dladdr(address, &info) == 0) return "?";
  if (info.dli_sname == nullptr) return std::string("? in ") + info.dli_fname;
  int status = 0;
  const std::unique_ptr<char, decltype(&free)> name(
      abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, &status), &free);
  return status == 0 ? name.get() : info.dli_sname;
}

}  // namespace

}  // namespace host

void vkmw_print_backtrace(void) {
  void* frames[host::kMaxFrames];
  const int depth = backtrace(frames, host::kMaxFrames);
  // Frame 0 is this function.
  for (int i = 1; i < depth; ++i) {
    HOST_LOG(host::kNotice, "#%d %s", i - 1, host::FunctionName(frames[i]).c_str());
  }
}
