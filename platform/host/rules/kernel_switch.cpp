#include "rules/kernel_switch.h"

#include <fstream>
#include <utility>

#include "runtime/log.h"

namespace host {

KernelSwitch::KernelSwitch(std::string path) : path_(std::move(path)) {}

KernelSwitch::~KernelSwitch() {
  if (changed_) Write('0');
}

void KernelSwitch::TurnOn() {
  if (asked_) return;
  asked_ = true;
  if (IsOff()) changed_ = Write('1');
}

bool KernelSwitch::IsOff() const {
  char value = '1';
  std::ifstream(path_) >> value;
  return value == '0';
}

bool KernelSwitch::Write(char value) const {
  std::ofstream file(path_);
  file << value << '\n' << std::flush;
  const bool done = file.good();
  HOST_LOG(kNotice, "%s %s %c.", path_.c_str(), done ? "set to" : "cannot be set to", value);
  return done;
}

}  // namespace host
