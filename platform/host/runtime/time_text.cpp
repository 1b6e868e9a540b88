#include "runtime/time_text.h"

#include <array>
#include <ctime>

namespace host {

std::string TimeText(std::chrono::system_clock::time_point time) {
  const time_t seconds = std::chrono::system_clock::to_time_t(time);
  tm parts = {};
  std::array<char, 32> text = {};
  gmtime_r(&seconds, &parts);
  strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text.data();
}

}  // namespace host
