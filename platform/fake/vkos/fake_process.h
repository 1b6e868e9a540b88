// The process: its context, its event loop, its high-availability role.
#pragma once

#include <functional>

#include "vkos/context.h"

namespace fake {

struct Process {
  /// Changes the role: calls the live context's callback and returns its result; true when the
  /// context has none. Needs a context.
  bool GoActive() const { return Execute(ha_callbacks->go_active); }
  bool GoStandby() const { return Execute(ha_callbacks->go_standby); }

  /// What happens while the server runs, after the handlers have been connected. Without one the
  /// run ends at once.
  std::function<void()> script;

  /// The live context's own copy; null without a context.
  const vkos::Context::HaStateChangeCallbacks* ha_callbacks = nullptr;

 private:
  static bool Execute(vkos::Callback* callback) {
    return callback == nullptr || callback->Execute();
  }
};

}  // namespace fake
