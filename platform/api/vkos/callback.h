// A call back into the program: HA role changes, timers.
#pragma once

namespace vkos {

class Callback {
 public:
  virtual ~Callback() = default;

  /// Called on the event thread. The result is for the platform's diagnostics: true is success.
  virtual bool Execute() = 0;
};

}  // namespace vkos
