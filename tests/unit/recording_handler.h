// A configuration handler that writes down what it is told.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "confd/value_text.h"
#include "vkconfd/config_handler.h"

class RecordingHandler : public vkconfd::ConfigHandler {
 public:
  RecordingHandler(std::string name, std::vector<std::string>* calls)
      : name_(std::move(name)), calls_(calls) {}

  /// Follows `path`; each change is written down and answered with `next`.
  void Follow(const char* path, int32_t priority, int32_t flags, confd_iter_ret next) {
    points_.push_back({priority, 0, path, flags,
                       [this, next](confd_hkeypath_t* kp, confd_iter_op op,
                                    confd_value_t* old_value, confd_value_t* new_value) {
                         Call(ChangeText(*kp, op, old_value, new_value));
                         return next;
                       }});
  }

  void LoadInitialConfig(int /*cdb_socket*/) override { Call("load"); }
  void ApplyInitialConfig() override { Call("apply initial"); }
  void StartCommit() override { Call("start"); }
  void ApplyCommitConfig() override { Call("apply"); }
  void ConfdConnected(ELEM_CONFD_PHASE_ET phase) override {
    Call("connected " + std::to_string(phase));
  }
  void ConfdDisconnected() override { Call("disconnected"); }
  const std::vector<vkconfd::SubscriptionPoint>& GetSubscriptionPoints() const override {
    return points_;
  }
  bool IsConnected() const { return confd_interface_ != nullptr; }

  /// Called with each line that is written down.
  std::function<void(const std::string&)> on_call;

 private:
  static std::string Text(const char* label, const confd_value_t* value) {
    return value == nullptr ? "" : std::string(label) + common::ValueText(*value);
  }

  static std::string ChangeText(const confd_hkeypath_t& kp, confd_iter_op op,
                                const confd_value_t* old_value, const confd_value_t* new_value) {
    static constexpr const char* kNames[] = {"nop", "created", "deleted", "modified", "set"};
    return std::string(kNames[op]) + " " + common::KeyPathText(kp) + Text(" from ", old_value) +
           Text(" to ", new_value);
  }

  void Call(const std::string& what) {
    calls_->push_back(name_ + " " + what);
    if (on_call) on_call(what);
  }

  std::string name_;
  std::vector<std::string>* calls_;
  std::vector<vkconfd::SubscriptionPoint> points_;
};
