#include "vkconfd/app_interface.h"

#include <stdexcept>
#include <string>

#include "fake_device.h"

namespace vkconfd {

/// The framework keeps the registration; there is nothing to keep here.
struct AppInterface::Impl {};

AppInterface::AppInterface(vkmw_t* vkmw, zlog_category_s* log_category, const char* name,
                           const std::vector<ConfigHandler*>& config_handlers,
                           const std::vector<ActionHandler*>& action_handlers,
                           const std::vector<DataHandler*>& data_handlers,
                           ELEM_CONFD_PHASE_ET phase, int argument) {
  fake::Device& device = fake::Device::Instance();
  if (!device.confd.Accept(std::string("app new ") + name)) {
    throw std::runtime_error(confd_lasterr());
  }
  device.framework.Register(
      {vkmw, log_category, name, config_handlers, action_handlers, data_handlers, phase, argument});
}

AppInterface::~AppInterface() {
  fake::Device& device = fake::Device::Instance();
  device.framework.Unregister();
  device.Note("app gone");
}

}  // namespace vkconfd
