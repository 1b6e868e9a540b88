#include "vkos/context.h"

#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <exception>
#include <string>

#include "runtime/faults.h"
#include "runtime/log.h"
#include "runtime/process.h"
#include "runtime/service_manager.h"
#include "runtime/start_check.h"
#include "runtime/waiting.h"
#include "runtime/watchdog.h"

namespace vkos {

std::unique_ptr<Context> the_context;

struct Context::Impl : public Server {
  Impl(const vkmw_process_signature_t& signature, const HaStateChangeCallbacks& table)
      : vkmw{signature, {}}, callbacks(table) {
    signals.add(SIGTERM);
    signals.add(SIGINT);
    signals.add(SIGHUP);
    signals.add(SIGUSR1);
    signals.add(SIGUSR2);
    // A peer that goes away while it is written to must not end the process.
    std::signal(SIGPIPE, SIG_IGN);
    // The write of a file that grows beyond the process's limit must fail, as on a full disk.
    std::signal(SIGXFSZ, SIG_IGN);
    WaitForSignal();
  }

  void Run() override {
    const host::ProcessScope scope(process);
    process.loop.restart();
    process.loop.run();
    host::NotifyStopping();
  }

  void WaitForSignal() {
    signals.async_wait(waiting.Begin([this](const boost::system::error_code& error, int number) {
      if (error) return;
      const std::string what = "signal " + std::to_string(number);
      host::RunEvent(what.c_str(), [this, number] { Handle(number); });
      WaitForSignal();
    }));
  }

  void Handle(int number) {
    switch (number) {
      case SIGHUP:
        process.Reload();
        break;
      case SIGUSR1:
        process.TakeRole(host::HaRole::kActive);
        Tell(callbacks.go_active);
        break;
      case SIGUSR2:
        process.TakeRole(host::HaRole::kStandby);
        Tell(callbacks.go_standby);
        break;
      default:
        HOST_LOG(host::kProgress, "Signal %d: ending.", number);
        process.loop.stop();
    }
  }

  static void Tell(Callback* callback) {
    if (callback != nullptr) callback->Execute();
  }

  vkmw_t vkmw;
  host::Process& process = vkmw.process;
  /// Before signals are taken: until then they end the process.
  std::shared_ptr<void> kept_for_start_check = host::RunStartCheck(process.loop);
  HaStateChangeCallbacks callbacks;
  boost::asio::signal_set signals{process.loop};
  host::Waiting waiting{"signals", host::EndWithFault};
  host::Watchdog watchdog{process.loop, [this] {
                            if (process.watchdog_check) process.watchdog_check();
                          }};
};

Context::Context(const vkmw_process_signature_t* signature,
                 const HaStateChangeCallbacks* callbacks) {
  try {
    impl_ = std::make_unique<Impl>(*signature, *callbacks);
  } catch (const std::exception& exception) {
    HOST_LAST_FAULT("cannot start: " + std::string(exception.what()));
  }
}

Context::~Context() = default;

vkmw_t* Context::GetVkmw() { return &impl_->vkmw; }

Server& Context::GetServer() { return *impl_; }

}  // namespace vkos
