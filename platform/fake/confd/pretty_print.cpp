// Counts how often the program has something printed. The linker passes its calls through here.

#include "confd_lib.h"
#include "fake_device.h"

extern "C" {

int PrintKeyPath(char* buf, int n, const confd_hkeypath_t* kp) __asm__("__real_confd_pp_kpath");
int PrintValue(char* buf, int n, const confd_value_t* v) __asm__("__real_confd_pp_value");
int CountKeyPath(char* buf, int n, const confd_hkeypath_t* kp) __asm__("__wrap_confd_pp_kpath");
int CountValue(char* buf, int n, const confd_value_t* v) __asm__("__wrap_confd_pp_value");

}  // extern "C"

int CountKeyPath(char* buf, int n, const confd_hkeypath_t* kp) {
  ++fake::Device::Instance().confd.printed_key_paths;
  return PrintKeyPath(buf, n, kp);
}

int CountValue(char* buf, int n, const confd_value_t* v) {
  ++fake::Device::Instance().confd.printed_values;
  return PrintValue(buf, n, v);
}
