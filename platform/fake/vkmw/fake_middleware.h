// What the middleware was told: categories, faults, back-traces.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "zlog/fake_log.h"

namespace fake {

struct Fault {
  int code;
  std::string function;
  std::string file;
  int line;
  std::string text;
};

struct Middleware {
  std::vector<Fault> faults;
  int backtraces = 0;
  std::map<std::string, std::unique_ptr<zlog_category_s>> categories;  ///< By name.
};

}  // namespace fake
