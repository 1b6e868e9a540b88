#include "runtime/log.h"

#include "vkmw/vkmw.h"

namespace host {

zlog_category_t* LogCategory() {
  static zlog_category_t* const category = vkmw_trace_register_category("platform");
  return category;
}

}  // namespace host
