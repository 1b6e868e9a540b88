// A setting of the kernel that is 0 or 1.
#pragma once

#include <string>

namespace host {

/// Put back to 0 at the end when this object has turned it on. See proc(5) and the kernel's
/// networking/ip-sysctl; such settings are the network namespace's.
class KernelSwitch {
 public:
  /// `path` is the file of the setting, below /proc/sys.
  explicit KernelSwitch(std::string path);
  ~KernelSwitch();

  KernelSwitch(const KernelSwitch&) = delete;
  KernelSwitch& operator=(const KernelSwitch&) = delete;

  /// Turns the setting on when it is there and off. Logged, also when it cannot be written. Looks
  /// at it at the first call only, so what somebody else turns off later stays off.
  void TurnOn();

  /// Whether the setting is there and off now; one that cannot be read counts as on.
  bool IsOff() const;

 private:
  /// False when the system refused.
  bool Write(char value) const;

  std::string path_;
  bool asked_ = false;
  bool changed_ = false;
};

}  // namespace host
