// The log categories where the system has zlog: records go straight to it, as its configuration
// file says.
#include "runtime/log.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "runtime/folders.h"
#include "vkmw/vkmw.h"

namespace host {

namespace {

/// Brings zlog up with zlog.conf of the configuration folder; without that file with its defaults.
bool StartZlog() {
  const std::string file = Folders::OfProcess().configuration + "/zlog.conf";
  if (zlog_init(file.c_str()) == 0) return true;
  fprintf(stderr, "%s: not usable, logging with the defaults of zlog\n", file.c_str());
  return zlog_init(nullptr) == 0;
}

}  // namespace

}  // namespace host

zlog_category_s* vkmw_trace_register_category(const char* name) {
  static const bool started = host::StartZlog();
  zlog_category_s* category = started ? zlog_get_category(name) : nullptr;
  if (category == nullptr) {
    fprintf(stderr, "no log category %s: zlog cannot be brought up\n", name);
    abort();
  }
  return category;
}
