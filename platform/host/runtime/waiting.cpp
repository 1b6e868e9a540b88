#include "runtime/waiting.h"

namespace host {

void Alarm::At(Clock::time_point due, std::function<void()> call) {
  timer_.expires_at(due);
  timer_.async_wait(
      waiting_.Begin([call = std::move(call)](const boost::system::error_code& error) {
        if (!error) call();
      }));
}

void Alarm::Stop() {
  waiting_.End();
  timer_.cancel();
}

}  // namespace host
