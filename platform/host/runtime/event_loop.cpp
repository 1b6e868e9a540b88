#include "runtime/event_loop.h"

#include <exception>
#include <utility>

#include "runtime/faults.h"

namespace host {

namespace {

std::function<void()>& ReloadAction() {
  static std::function<void()> reload;
  return reload;
}

}  // namespace

boost::asio::io_context& Loop() {
  // Never destroyed: what ends with the process still takes its waits back from it.
  static auto* const loop = new boost::asio::io_context(1);
  return *loop;
}

void RunEvent(const std::string& what, const std::function<void()>& event) {
  try {
    event();
  } catch (const std::exception& exception) {
    HOST_FAULT(what + ": " + exception.what());
  } catch (...) {
    HOST_FAULT(what + ": unknown exception");
  }
}

void SetReload(std::function<void()> reload) { ReloadAction() = std::move(reload); }

void Reload() {
  if (ReloadAction()) ReloadAction()();
}

}  // namespace host
