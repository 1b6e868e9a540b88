#include "confd/error.h"

#include "confd_lib.h"

int confd_errno = 0;

namespace common {

namespace {

std::string& LastText() {
  static std::string text;
  return text;
}

}  // namespace

int Fail(int code, const std::string& text) {
  confd_errno = code;
  LastText() = text;
  return CONFD_ERR;
}

void ClearError() {
  confd_errno = 0;
  LastText().clear();
}

}  // namespace common

const char* confd_lasterr(void) { return common::LastText().c_str(); }
