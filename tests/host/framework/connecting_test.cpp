// What goes wrong while the program is connected reaches the program.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <vector>

#include "runtime/process.h"
#include "support.h"
#include "vkconfd/app_interface.h"
#include "vkos/context.h"

namespace host::test {
namespace {

class UnloadableHandler : public vkconfd::ConfigHandler {
 public:
  void LoadInitialConfig(int /*cdb_socket*/) override { throw std::runtime_error("no agent"); }
  void ApplyInitialConfig() override {}
  void StartCommit() override {}
  void ApplyCommitConfig() override {}
  const std::vector<vkconfd::SubscriptionPoint>& GetSubscriptionPoints() const override {
    return points_;
  }

 private:
  std::vector<vkconfd::SubscriptionPoint> points_;
};

class ListenPoint : public vkconfd::DataHandler, public vkconfd::DataHandler::Callpoint {
 public:
  ListenPoint() : DataHandler(false, false, false, false, false, false, false) {}
  std::vector<DataHandler::Callpoint*>& GetCallpoints() override { return points_; }
  const char* GetCallpointName() override { return "listen"; }

 private:
  std::vector<DataHandler::Callpoint*> points_ = {this};
};

class ConnectingTest : public ::testing::Test {
 protected:
  ConnectingTest() {
    for (const char* folder : {"CONFIGURATION_DIRECTORY", "STATE_DIRECTORY", "RUNTIME_DIRECTORY",
                               "SNMP_APP_STANDARD_MODELS"}) {
      setenv(folder, folder_.Path().c_str(), 1);
    }
    setenv("SNMP_APP_MODELS", MODELS_FOLDER, 1);
  }

  std::unique_ptr<vkconfd::AppInterface> Make() {
    return std::make_unique<vkconfd::AppInterface>(
        context_.GetVkmw(), nullptr, "connecting", std::vector<vkconfd::ConfigHandler*>{&handler_},
        std::vector<vkconfd::ActionHandler*>{}, std::vector<vkconfd::DataHandler*>{&listen_point_},
        ELEM_CONFD_PHASE_2, 0);
  }

  static constexpr vkmw_process_signature_t kSignature = {"connecting"};
  static constexpr vkos::Context::HaStateChangeCallbacks kNoCallbacks = {};

  TestFolder folder_;
  UnloadableHandler handler_;
  ListenPoint listen_point_;
  vkos::Context context_{&kSignature, &kNoCallbacks};
};

TEST_F(ConnectingTest, ExceptionLeavesRun) {
  const auto program = Make();
  EXPECT_THROW(context_.GetServer().Run(), std::runtime_error);
}

TEST_F(ConnectingTest, WhatIsGoneIsNotConnected) {
  Make().reset();
  EXPECT_NO_THROW(context_.GetVkmw()->process.loop.poll());
}

}  // namespace
}  // namespace host::test
