#include "fake_device.h"

#include <algorithm>
#include <iterator>

#include "confd/error.h"
#include "confd/fake_tags.h"

namespace fake {

// Texts of key paths need the tags before the first of them is computed from its name.
Device::Device() { Tags(); }

Device& Device::Instance() {
  static Device& device = *new Device;
  return device;
}

void Device::Reset() {
  journal.clear();
  confd = Confd();
  common::ClearError();
  framework.Reset();
  clock.Reset();
  process.script = nullptr;
  middleware.faults.clear();
  middleware.backtraces = 0;
  log.Reset();
  rules = RuleLibrary();
}

void Device::Note(const std::string& event) { journal.push_back(event); }

std::vector<std::string> Device::Events(const std::string& prefix) const {
  std::vector<std::string> events;
  std::copy_if(
      journal.begin(), journal.end(), std::back_inserter(events),
      [&prefix](const std::string& event) { return event.compare(0, prefix.size(), prefix) == 0; });
  return events;
}

}  // namespace fake
