#include "vkos/timer.h"

#include <cassert>
#include <string>

#include "fake_device.h"
#include "vkos/context.h"

namespace vkos {

struct Timer::Impl {
  fake::Alarm alarm;
};

Timer::Timer(const vkmw_sig_t* signal, long period_ms, Callback& callback, bool flag)
    : impl_(std::make_unique<Impl>(Impl{{signal->name, period_ms, &callback, flag, false, 0}})) {
  assert(the_context != nullptr);
  fake::Device& device = fake::Device::Instance();
  device.Note("timer new " + impl_->alarm.name + " " + std::to_string(period_ms));
  device.clock.Add(&impl_->alarm);
  device.clock.Start(&impl_->alarm);
}

Timer::~Timer() {
  fake::Device& device = fake::Device::Instance();
  device.clock.Remove(&impl_->alarm);
  device.Note("timer gone");
}

void Timer::Pause() {
  fake::Device::Instance().Note("timer pause");
  impl_->alarm.running = false;
}

void Timer::Resume(long argument) {
  fake::Device& device = fake::Device::Instance();
  device.Note("timer resume " + std::to_string(argument));
  device.clock.Start(&impl_->alarm);
}

}  // namespace vkos
