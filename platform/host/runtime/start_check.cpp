#include "runtime/start_check.h"

#include <utility>

namespace host {

namespace {

StartCheck& Check() {
  static StartCheck check;
  return check;
}

}  // namespace

void SetStartCheck(StartCheck check) { Check() = std::move(check); }

std::shared_ptr<void> RunStartCheck(boost::asio::io_context& loop) {
  return Check() ? Check()(loop) : nullptr;
}

}  // namespace host
