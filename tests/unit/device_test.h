// The start of every test that runs on the fake device.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "fake_device.h"
#include "vkos/context.h"

/// A record as one line: category, source path, function, level and text.
inline std::string Line(const fake::LogRecord& record) {
  return record.category + " " + record.file + " " + record.function + " " +
         std::to_string(record.level) + " " + record.text;
}

/// A fault as one line: code, function, source path and text.
inline std::string Line(const fake::Fault& fault) {
  return std::to_string(fault.code) + " " + fault.function + " " + fault.file + " " + fault.text;
}

/// Makes the process a context, as the program does at its start.
inline void InstallContext(const char* name) {
  vkmw_process_signature_t signature = {};
  std::string(name).copy(signature.name, sizeof signature.name - 1);
  const vkos::Context::HaStateChangeCallbacks none = {};
  vkos::the_context = std::make_unique<vkos::Context>(&signature, &none);
}

/// A new device for each test, in a process that has a context. Every session that a test's code
/// opens must have the flag set.
class DeviceTest : public ::testing::Test {
 protected:
  DeviceTest() {
    if (vkos::the_context == nullptr) InstallContext("unit-test");
    device_.Reset();
  }
  ~DeviceTest() override {
    for (const fake::SessionRecord& session : device_.confd.sessions) {
      EXPECT_TRUE(session.flag) << "of the session on socket " << session.socket;
    }
  }

  std::vector<std::string> LogLines() const {
    std::vector<std::string> lines;
    for (const fake::LogRecord& record : device_.log.records) lines.push_back(Line(record));
    return lines;
  }

  /// The formats of the records.
  std::vector<std::string> Formats() const {
    std::vector<std::string> formats;
    for (const fake::LogRecord& record : device_.log.records) formats.push_back(record.format);
    return formats;
  }

  std::vector<std::string> FaultLines() const {
    std::vector<std::string> lines;
    for (const fake::Fault& fault : device_.middleware.faults) lines.push_back(Line(fault));
    return lines;
  }

  fake::Device& device_ = fake::Device::Instance();
};
