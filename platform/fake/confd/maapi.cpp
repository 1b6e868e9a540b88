// ConfD's management agent API: listeners.

#include <string>

#include "confd/error.h"
#include "confd_maapi.h"
#include "fake_device.h"

int maapi_rebind_listener(int sock, int listener) {
  fake::Confd& confd = fake::Device::Instance().confd;
  confd.rebinds.push_back({sock, listener});
  if (!confd.Accept("maapi_rebind_listener " + std::to_string(listener))) return CONFD_ERR;
  if (sock != fake::ConfdInterface::kMaapiSocket) {
    return common::Fail(CONFD_ERR_NOSESSION, "socket " + std::to_string(sock) + " is no MAAPI one");
  }
  if (listener != CONFD_LISTENER_SNMP) {
    return common::Fail(CONFD_ERR_EXTERNAL, "no listener " + std::to_string(listener));
  }
  common::ClearError();
  return CONFD_OK;
}
