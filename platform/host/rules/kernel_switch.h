// A setting of the kernel that is 0 or 1.
#pragma once

#include <string>

namespace host {

/// Put back to 0 at the end when this object has turned it on.
class KernelSwitch {
 public:
  /// `path` is the file of the setting, below /proc/sys.
  explicit KernelSwitch(std::string path);
  ~KernelSwitch();

  KernelSwitch(const KernelSwitch&) = delete;
  KernelSwitch& operator=(const KernelSwitch&) = delete;

  /// Turns the setting on when it is there and off. Reads it once only; logged.
  void TurnOn();

  /// Whether the setting is there and off now.
  bool IsOff() const;

 private:
  bool Write(char value) const;

  std::string path_;
  bool asked_ = false;
  bool changed_ = false;
};

}  // namespace host
