#include "vkconfd/app_interface.h"

#include <boost/asio/post.hpp>

#include "framework/framework.h"
#include "runtime/event_loop.h"

namespace vkconfd {

struct AppInterface::Impl {
  Impl(const std::vector<ConfigHandler*>& config_handlers,
       const std::vector<DataHandler*>& data_handlers)
      : framework(host::Folders::OfProcess(), config_handlers, data_handlers) {
    host::SetReload([this] { framework.Reload(); });
  }
  ~Impl() { host::SetReload(nullptr); }

  host::Framework framework;
};

AppInterface::AppInterface(vkmw_t* /*vkmw*/, zlog_category_s* /*log_category*/,
                           const char* /*name*/, const std::vector<ConfigHandler*>& config_handlers,
                           const std::vector<ActionHandler*>& /*action_handlers*/,
                           const std::vector<DataHandler*>& data_handlers,
                           ELEM_CONFD_PHASE_ET phase, int /*argument*/)
    : impl_(std::make_unique<Impl>(config_handlers, data_handlers)) {
  boost::asio::post(host::Loop(), [this, phase] { impl_->framework.Connect(phase); });
}

AppInterface::~AppInterface() = default;

}  // namespace vkconfd
