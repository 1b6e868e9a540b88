#include "runtime/start_check.h"

#include <utility>

namespace host {

namespace {

std::function<void()>& StartCheck() {
  static std::function<void()> check;
  return check;
}

}  // namespace

void SetStartCheck(std::function<void()> check) { StartCheck() = std::move(check); }

void RunStartCheck() {
  if (StartCheck()) StartCheck()();
}

}  // namespace host
