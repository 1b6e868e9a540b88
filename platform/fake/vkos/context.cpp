#include "vkos/context.h"

#include <stdexcept>
#include <string>

#include "fake_device.h"

struct vkmw_t {
  std::string process_name;
};

namespace vkos {

namespace {

class ScriptServer : public Server {
 public:
  void Run() override {
    fake::Device& device = fake::Device::Instance();
    device.Note("server run");
    device.framework.Connect();
    if (device.process.script) device.process.script();
  }
};

}  // namespace

std::unique_ptr<Context> the_context;

struct Context::Impl {
  vkmw_t vkmw;
  HaStateChangeCallbacks callbacks;
  ScriptServer server;
};

Context::Context(const vkmw_process_signature_t* signature,
                 const HaStateChangeCallbacks* callbacks) {
  fake::Device& device = fake::Device::Instance();
  if (!device.confd.Accept(std::string("context new ") + signature->name)) {
    throw std::runtime_error(confd_lasterr());
  }
  impl_ = std::make_unique<Impl>(Impl{{signature->name}, *callbacks, {}});
  device.process.ha_callbacks = &impl_->callbacks;
}

Context::~Context() {
  fake::Device& device = fake::Device::Instance();
  device.Note("context gone " + impl_->vkmw.process_name);
  if (device.process.ha_callbacks == &impl_->callbacks) device.process.ha_callbacks = nullptr;
}

vkmw_t* Context::GetVkmw() {
  fake::Device::Instance().Note("context vkmw");
  return &impl_->vkmw;
}

Server& Context::GetServer() {
  fake::Device::Instance().Note("context server");
  return impl_->server;
}

}  // namespace vkos
