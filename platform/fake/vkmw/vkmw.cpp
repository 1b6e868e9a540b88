#include "vkmw/vkmw.h"

#include <memory>
#include <string>

#include "fake_device.h"

zlog_category_s* vkmw_trace_register_category(const char* name) {
  fake::Device& device = fake::Device::Instance();
  device.Note(std::string("category ") + name);
  std::unique_ptr<zlog_category_s>& category = device.middleware.categories[name];
  if (category == nullptr) category = std::make_unique<zlog_category_s>(zlog_category_s{name});
  return category.get();
}

void vkmw_gen_fault(int code, const char* function, const char* file, int line, const char* text) {
  fake::Device& device = fake::Device::Instance();
  device.Note("fault " + std::to_string(code) + " " + function);
  device.middleware.faults.push_back({code, function, file, line, text});
}

void vkmw_print_backtrace() {
  fake::Device& device = fake::Device::Instance();
  device.Note("backtrace");
  ++device.middleware.backtraces;
}
