// The process's application object on the fake device.
#pragma once

#include <string>
#include <vector>

#include "agent_test.h"
#include "app/application.h"

/// The last record of a run.
constexpr char kEnd[] = "snmp-app src/app/application Run 12 SNMP daemon has finished!";

/// What the construction of the application asked of the platform. It is constructed once in a
/// process, so the first test that needs it takes this down for all.
inline const std::vector<std::string>& ConstructionJournal() {
  static const std::vector<std::string> journal = [] {
    fake::Device& device = fake::Device::Instance();
    InstallContext("earlier");
    device.journal.clear();
    Application::Instance();
    return device.journal;
  }();
  return journal;
}

class ApplicationTest : public DeviceTest {
 protected:
  ApplicationTest() { device_.Reset(); }

  const fake::Registration& LastRegistration() const {
    return device_.framework.registrations.back();
  }

  static Application& Constructed() {
    ConstructionJournal();
    return Application::Instance();
  }

  Application& application_ = Constructed();
};
