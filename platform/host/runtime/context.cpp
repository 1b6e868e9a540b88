#include "vkos/context.h"

#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <string>

#include "runtime/event_loop.h"
#include "runtime/ha_role.h"
#include "runtime/log.h"
#include "runtime/service_manager.h"
#include "runtime/start_check.h"
#include "runtime/watchdog.h"

struct vkmw_t {
  vkmw_process_signature_t signature;
};

namespace {

host::HaRole current_role = host::HaRole::kUnknown;

}  // namespace

namespace host {

HaRole CurrentHaRole() { return current_role; }

}  // namespace host

namespace vkos {

std::unique_ptr<Context> the_context;

struct Context::Impl : public Server {
  Impl(const vkmw_process_signature_t& signature, const HaStateChangeCallbacks& table)
      : vkmw{signature}, callbacks(table), signals(host::Loop(), SIGTERM, SIGINT, SIGHUP) {
    signals.add(SIGUSR1);
    signals.add(SIGUSR2);
    // A peer that goes away while it is written to must not end the process.
    std::signal(SIGPIPE, SIG_IGN);
    WaitForSignal();
  }

  void Run() override {
    host::Loop().restart();
    host::Loop().run();
    host::NotifyStopping();
  }

  void WaitForSignal() {
    signals.async_wait([this](const boost::system::error_code& error, int number) {
      if (error) return;
      host::RunEvent("signal " + std::to_string(number), [this, number] { Handle(number); });
      WaitForSignal();
    });
  }

  void Handle(int number) {
    switch (number) {
      case SIGHUP:
        host::Reload();
        break;
      case SIGUSR1:
        current_role = host::HaRole::kActive;
        Tell(callbacks.go_active);
        break;
      case SIGUSR2:
        current_role = host::HaRole::kStandby;
        Tell(callbacks.go_standby);
        break;
      default:
        HOST_LOG(host::kProgress, "Signal %d: ending.", number);
        host::Loop().stop();
    }
  }

  static void Tell(Callback* callback) {
    if (callback != nullptr) callback->Execute();
  }

  vkmw_t vkmw;
  HaStateChangeCallbacks callbacks;
  boost::asio::signal_set signals;
  host::Watchdog watchdog{host::Loop()};
};

Context::Context(const vkmw_process_signature_t* signature,
                 const HaStateChangeCallbacks* callbacks) {
  host::RunStartCheck();
  impl_ = std::make_unique<Impl>(*signature, *callbacks);
}

Context::~Context() = default;

vkmw_t* Context::GetVkmw() { return &impl_->vkmw; }

Server& Context::GetServer() { return *impl_; }

}  // namespace vkos
