// What a contract test needs of a platform besides its api: a configuration, commits, and time.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "vkconfd/config_handler.h"
#include "vkconfd/data_handler.h"
#include "vkos/context.h"

namespace contract {

/// A target of notifications. Its row of parameters has its name, too.
struct Target {
  std::string name;
  std::string ip = "10.0.0.5";
  uint16_t port = 162;
  std::string sec_name = "public";
  int32_t model = 1;     ///< Message processing model.
  std::string vrf = {};  ///< Empty for none.
};

struct Vrf {
  std::string name;
  uint32_t index;
};

/// An L3 interface; what is empty it does not have. Addresses have their prefix length.
struct L3 {
  std::string name;
  std::string vrf = {};
  std::string kernel_name = {};
  std::string ipv4 = {};
  std::vector<std::string> ipv6 = {};  ///< IPv6 is enabled when there are any.
};

/// A row of the listening interfaces, which has the models' one callpoint.
struct Listening {
  std::string name;
  uint16_t udp_port;
};

/// A configuration of the agent, of its interfaces and of where notifications go.
struct Configuration {
  bool enabled = false;
  std::string ip = "127.0.0.1";
  uint16_t port = 2161;
  std::vector<std::string> extra;
  std::vector<std::string> communities;  ///< Index, name and security name at once.
  std::vector<Target> targets = {};
  std::vector<Vrf> vrfs = {};
  std::vector<L3> l3 = {};
  std::vector<Listening> listening = {};
};

class PlatformUnderTest {
 public:
  virtual ~PlatformUnderTest() = default;

  /// Installs vkos::the_context.
  virtual void InstallContext(const vkos::Context::HaStateChangeCallbacks& callbacks) = 0;

  /// Brings a configuration into force, makes the application interface for these handlers and
  /// runs the server until they are connected. What a handler throws passes. One of the data
  /// handlers serves the callpoint of the models.
  virtual void Start(const Configuration& configuration,
                     const std::vector<vkconfd::ConfigHandler*>& handlers,
                     const std::vector<vkconfd::DataHandler*>& data_handlers) = 0;

  /// Replaces the configuration in one transaction and returns when it is delivered; false when it
  /// was refused. Only for configurations that keep all that a callpoint wrote.
  virtual bool Commit(const Configuration& configuration) = 0;

  /// Destroys the application interface.
  virtual void Stop() = 0;

  /// Puts the process into a network of its own, where rules can be set. Returns why that cannot
  /// be; empty when it is done.
  virtual std::string EnterNetwork() = 0;

  /// From now on the agent's listener at `port` of 127.0.0.1 cannot be opened, once.
  virtual void RefuseListener(uint16_t port) = 0;

  /// Lets time pass until `condition` holds; false when it does not within `limit_ms`.
  virtual bool RunUntil(const std::function<bool()>& condition, long limit_ms) = 0;

  /// Lets `ms` pass.
  virtual void RunFor(long ms) = 0;

  /// Changes the node's role.
  virtual void GoActive() = 0;
  virtual void GoStandby() = 0;

  /// The texts of the faults raised since the platform was made, oldest first.
  virtual std::vector<std::string> FaultTexts() const = 0;

  /// Keeps what is logged from now on.
  virtual void WatchLog() = 0;

  /// The records of `category` that were written since WatchLog or the last TakeLog, each as
  /// "source-path function level text". Needs a WatchLog before.
  virtual std::vector<std::string> TakeLog(const std::string& category) = 0;
};

/// A data handler for the one callpoint of the models, which does nothing there.
class IdleDataHandler : public vkconfd::DataHandler {
 public:
  IdleDataHandler() : DataHandler(false, false, false, false, false, false, false) {}
  std::vector<Callpoint*>& GetCallpoints() override { return callpoints_; }

 private:
  class ListenCallpoint : public Callpoint {
   public:
    const char* GetCallpointName() override { return "listen"; }
  };

  ListenCallpoint callpoint_;
  std::vector<Callpoint*> callpoints_ = {&callpoint_};
};

/// The platform that the test program is linked with.
std::unique_ptr<PlatformUnderTest> MakePlatform();

}  // namespace contract
