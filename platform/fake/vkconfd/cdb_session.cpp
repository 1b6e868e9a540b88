#include "vkconfd/cdb_session.h"

#include <stdexcept>

#include "fake_device.h"

VkConfdCdbSessionBase::VkConfdCdbSessionBase(VkConfdInterface* confd_interface,
                                             cdb_db_type database, bool flag) {
  if (confd_interface == nullptr) throw std::runtime_error("no connection to ConfD");
  fake::Confd& confd = fake::Device::Instance().confd;
  socket_ = confd.OpenSession(database);
  confd.sessions.push_back({socket_, database, flag});
}

VkConfdCdbSessionBase::~VkConfdCdbSessionBase() {
  fake::Device::Instance().confd.CloseSession(socket_);
}
