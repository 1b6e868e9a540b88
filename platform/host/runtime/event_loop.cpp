#include "runtime/event_loop.h"

#include <exception>

#include "runtime/faults.h"

namespace host {

void RunEvent(const std::string& what, const std::function<void()>& event) {
  try {
    event();
  } catch (const std::exception& exception) {
    HOST_FAULT(what + ": " + exception.what());
  } catch (...) {
    HOST_FAULT(what + ": unknown exception");
  }
}

}  // namespace host
