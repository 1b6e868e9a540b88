#include "runtime/event_loop.h"

#include <exception>
#include <new>

#include "runtime/faults.h"

namespace host {

namespace {

/// Where memory is too short for words, it is told without any.
std::string Text(const char* what, const char* reason) {
  try {
    return std::string(what) + ": " + reason;
  } catch (const std::bad_alloc&) {
    return {};
  }
}

void Tell(const OnFailure& on_failure, const std::string& text) {
  try {
    on_failure(text);
  } catch (...) {
    // Nobody is left to be told.
  }
}

}  // namespace

void RaiseFault(const std::string& text) { HOST_FAULT(text); }

void EndWithFault(const std::string& text) { HOST_LAST_FAULT(text); }

bool RunReferred(const char* what, const std::function<void()>& event,
                 const OnFailure& on_failure) {
  if (!on_failure) {
    event();
    return true;
  }
  try {
    event();
    return true;
  } catch (const std::exception& exception) {
    Tell(on_failure, Text(what, exception.what()));
  } catch (...) {
    Tell(on_failure, Text(what, "unknown exception"));
  }
  return false;
}

}  // namespace host
