#include "vkconfd/app_interface.h"

#include <boost/asio/post.hpp>
#include <exception>
#include <memory>
#include <string>

#include "framework/framework.h"
#include "runtime/log.h"
#include "runtime/process.h"
#include "runtime/waiting.h"
#include "snmp/agent_thread.h"

namespace vkconfd {

namespace {

void LogAgentText(int /*priority*/, const std::string& text) {
  HOST_LOG(host::kNotice, "%s", text.c_str());
}

}  // namespace

struct AppInterface::Impl {
  Impl(host::Process& owner, const std::vector<ConfigHandler*>& config_handlers,
       const std::vector<DataHandler*>& data_handlers)
      : process(owner),
        framework(process, agent, host::Folders::OfProcess(), config_handlers, data_handlers) {
    process.reload = [this] { framework.Reload(); };
    agent.SetListenerObserver([this, alive = std::weak_ptr(alive)](const host::Endpoint& listener,
                                                                   bool bound,
                                                                   const std::string& reason) {
      TellOnLoop(alive, listener, bound, reason);
    });
  }
  ~Impl() {
    process.reload = nullptr;
    agent.SetListenerObserver(nullptr);
  }

  /// The agent's thread has noticed it.
  void TellOnLoop(const std::weak_ptr<int>& is_alive, const host::Endpoint& listener, bool bound,
                  const std::string& reason) noexcept {
    try {
      boost::asio::post(process.loop, [this, is_alive, listener, bound, reason] {
        if (!is_alive.expired()) framework.NoteListener(listener, bound, reason);
      });
    } catch (const std::exception& error) {
      HOST_LOG(host::kNotice, "A notification is lost: %s", error.what());
    }
  }

  host::Process& process;
  host::AgentThread agent{LogAgentText};
  host::Framework framework;
  std::shared_ptr<int> alive = std::make_shared<int>();  ///< For what is in the loop's queue.

  /// What cannot be connected ends the program, which the exception that leaves the loop tells.
  host::Waiting connecting{"connecting", nullptr};
};

AppInterface::AppInterface(vkmw_t* vkmw, zlog_category_s* /*log_category*/, const char* /*name*/,
                           const std::vector<ConfigHandler*>& config_handlers,
                           const std::vector<ActionHandler*>& /*action_handlers*/,
                           const std::vector<DataHandler*>& data_handlers,
                           ELEM_CONFD_PHASE_ET phase, int /*argument*/)
    : impl_(std::make_unique<Impl>(vkmw->process, config_handlers, data_handlers)) {
  Impl& impl = *impl_;
  boost::asio::post(impl.process.loop,
                    impl.connecting.Begin([&impl, phase] { impl.framework.Connect(phase); }));
}

AppInterface::~AppInterface() = default;

}  // namespace vkconfd
