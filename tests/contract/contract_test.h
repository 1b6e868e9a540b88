// The fixture of the contract tests and a handler that writes down what it is told.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "confd/value_text.h"
#include "confd_cdb.h"
#include "confd_lib.h"
#include "delivery/change.h"
#include "platform_under_test.h"
#include "vkconfd/cdb_session.h"

namespace contract {

constexpr char kEnabled[] = "/confd_dyncfg:confdConfig/snmpAgent/enabled";
constexpr char kIp[] = "/confd_dyncfg:confdConfig/snmpAgent/ip";
constexpr char kPort[] = "/confd_dyncfg:confdConfig/snmpAgent/port";
constexpr char kExtra[] = "/confd_dyncfg:confdConfig/snmpAgent/extraIpPorts";
constexpr char kCommunities[] =
    "/SNMP_COMMUNITY_MIB:SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry";

/// What the handlers of a test were told, in order.
using Journal = std::vector<std::string>;

class RecordingHandler : public vkconfd::ConfigHandler {
 public:
  RecordingHandler(std::string name, Journal* journal)
      : name_(std::move(name)), journal_(journal) {}

  /// Follows one more path. Each change is noted as "name op key-path = value".
  void Follow(const char* path, int32_t priority, int32_t flags = 0) {
    points_.push_back(
        {priority, 0, path, flags,
         [this](confd_hkeypath_t* kp, confd_iter_op op, confd_value_t* old_value,
                confd_value_t* new_value) { return Change(kp, op, old_value, new_value); }});
  }

  void LoadInitialConfig(int cdb_socket) override {
    Note("load");
    if (on_load) on_load(cdb_socket);
  }
  void ApplyInitialConfig() override { Note("apply initial"); }
  void StartCommit() override { Note("start"); }
  void ApplyCommitConfig() override { Note("apply"); }
  const std::vector<vkconfd::SubscriptionPoint>& GetSubscriptionPoints() const override {
    return points_;
  }

  VkConfdInterface* Interface() const { return confd_interface_; }

  std::function<void(int cdb_socket)> on_load;
  std::function<void(confd_hkeypath_t* kp)> on_change;
  confd_iter_ret next = ITER_CONTINUE;

 private:
  void Note(const std::string& what) { journal_->push_back(name_ + " " + what); }

  static std::string Text(const confd_value_t* value) {
    return value == nullptr ? "none" : common::ValueText(*value);
  }

  confd_iter_ret Change(confd_hkeypath_t* kp, confd_iter_op op, confd_value_t* old_value,
                        confd_value_t* new_value) {
    static constexpr const char* kOps[] = {"nop", "created", "deleted", "modified", "set"};
    Note(std::string(kOps[op]) + " " + common::KeyPathText(*kp) +
         (op == MOP_VALUE_SET ? " = " + Text(new_value) : "") +
         (old_value == nullptr ? "" : " was " + Text(old_value)));
    if (on_change) on_change(kp);
    return next;
  }

  std::string name_;
  Journal* journal_;
  std::vector<vkconfd::SubscriptionPoint> points_;
};

class ContractTest : public testing::Test {
 protected:
  ContractTest() : platform_(MakePlatform()) {
    platform_->InstallContext({nullptr, nullptr, {nullptr, nullptr, nullptr}});
  }

  /// The handlers of a test outlive the interface that they are registered with.
  void TearDown() override { platform_->Stop(); }

  /// Starts with `configuration` and forgets what the start wrote down.
  void Start(const Configuration& configuration,
             const std::vector<vkconfd::ConfigHandler*>& handlers) {
    Start(configuration, handlers, {&idle_data_handler_});
  }
  void Start(const Configuration& configuration,
             const std::vector<vkconfd::ConfigHandler*>& handlers,
             const std::vector<vkconfd::DataHandler*>& data_handlers) {
    platform_->Start(configuration, handlers, data_handlers);
    journal_.clear();
  }

  /// Reads a value in a session of its own; the text, or "error <confd_errno>".
  std::string Read(cdb_db_type database, const char* path) {
    const VkConfdCdbSession session(handler_.Interface(), database, true);
    confd_value_t value;
    if (cdb_get(session.Socket(), &value, "%s", path) != CONFD_OK) {
      return "error " + std::to_string(confd_errno);
    }
    return common::ValueText(common::OwnedValue(value).Value());
  }

  std::unique_ptr<PlatformUnderTest> platform_;
  IdleDataHandler idle_data_handler_;
  Journal journal_;
  RecordingHandler handler_{"a", &journal_};
};

}  // namespace contract
